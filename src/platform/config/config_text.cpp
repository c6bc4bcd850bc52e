#include <keepsafe/platform/config/config.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include <keepsafe/platform/log/logmsg.h>

#include "host_name.h"
#include "key_depth.h"
#include "toml_parser.h"

namespace Tessara::Keepsafe::Platform {
namespace {

/// The longest name that fits into the 257-byte buffer of `db_getservernameEx`'s callers.
constexpr std::size_t MAX_SERVER_NAME = 256;

std::string quoted(std::string_view name) { return "\"" + std::string(name) + "\""; }

[[noreturn]] void fail(const std::string& file, const toml::source_position& where, const std::string& what)
{
    throw ConfigError(file + ":" + std::to_string(where.line) + ":" + std::to_string(where.column) + ": " +
                      what);
}

/// A value of the file, with what a message about it needs: its file and its full name.
struct Value {
    const std::string& file;
    std::string key;
    const toml::node& node;

    [[noreturn]] void fail(const std::string& what) const
    {
        Platform::fail(file, node.source().begin, quoted(key) + " " + what);
    }
};

std::string typeName(const toml::node& node)
{
    std::ostringstream name;
    name << node.type();
    return name.str();
}

std::string stringOf(const Value& value)
{
    const toml::value<std::string>* const text = value.node.as_string();
    if (text == nullptr) {
        value.fail("must be a string, not of type " + typeName(value.node));
    }
    return text->get();
}

int integerOf(const Value& value, int least, int most)
{
    const toml::value<std::int64_t>* const number = value.node.as_integer();
    if (number == nullptr) {
        value.fail("must be an integer, not of type " + typeName(value.node));
    }
    if (number->get() < least || number->get() > most) {
        value.fail("must be between " + std::to_string(least) + " and " + std::to_string(most) + ", not " +
                   std::to_string(number->get()));
    }
    return static_cast<int>(number->get());
}

void readMasterServer(const Value& value, Config& config)
{
    std::string name = stringOf(value);
    if (name.size() > MAX_SERVER_NAME) {
        value.fail("must be at most " + std::to_string(MAX_SERVER_NAME) + " bytes long, not " +
                   std::to_string(name.size()));
    }
    if (!Process::hasOnlyHostCharacters(name)) {
        value.fail("must be a host name: letters, digits, '-', '.', '_' and ':' only");
    }
    config.masterServer = std::move(name);
}

void readEnabledFeatures(const Value& value, Config& config)
{
    const toml::array* const features = value.node.as_array();
    if (features == nullptr) {
        value.fail("must be an array of integers, not of type " + typeName(value.node));
    }
    std::set<int> enabled;
    for (std::size_t at = 0; at < features->size(); ++at) {
        const Value element{value.file, value.key + "[" + std::to_string(at) + "]", (*features)[at]};
        enabled.insert(integerOf(element, 1, std::numeric_limits<int>::max()));
    }
    config.enabledFeatures = std::move(enabled);
}

void readLogLevel(const Value& value, Config& config)
{
    config.logThreshold = integerOf(value, 0, LOG_LEVEL_ERROR);
}

void readLogDestination(const Value& value, Config& config)
{
    std::string destination = stringOf(value);
    const bool isFile = destination.rfind("file:/", 0) == 0 && destination.find('\0') == std::string::npos;
    if (destination != "stderr" && destination != "syslog" && !isFile) {
        value.fail(R"(must be "stderr", "syslog" or "file:" and an absolute path)");
    }
    config.logDestination = std::move(destination);
}

/// A text that its receiver ends at the first zero byte.
std::string textOf(const Value& value)
{
    std::string text = stringOf(value);
    if (text.find('\0') != std::string::npos) {
        value.fail("must not have a zero byte");
    }
    return text;
}

/// No message shows a part of the value: it may hold a password.
void readDatabaseConnection(const Value& value, Config& config) { config.databaseConnection = textOf(value); }

void readDatabaseOnConnect(const Value& value, Config& config)
{
    const toml::array* const statements = value.node.as_array();
    if (statements == nullptr) {
        value.fail("must be an array of strings, not of type " + typeName(value.node));
    }
    std::vector<std::string> onConnect;
    for (std::size_t at = 0; at < statements->size(); ++at) {
        onConnect.push_back(
            textOf({value.file, value.key + "[" + std::to_string(at) + "]", (*statements)[at]}));
    }
    config.databaseOnConnect = std::move(onConnect);
}

std::string pathOf(const Value& value)
{
    std::string path = textOf(value);
    if (path.empty() || path.front() != '/') {
        value.fail("must be an absolute path");
    }
    return path;
}

void readTlsCertificate(const Value& value, Config& config) { config.tlsCertificate = pathOf(value); }
void readTlsKey(const Value& value, Config& config) { config.tlsKey = pathOf(value); }
void readTlsCa(const Value& value, Config& config) { config.tlsCa = pathOf(value); }

constexpr int MAX_TIMEOUT_SECONDS = 3600;
constexpr int MAX_RESPONSE_LIMIT = 1 << 30;

void readConnectTimeout(const Value& value, Config& config)
{
    config.httpConnectTimeoutSeconds = integerOf(value, 1, MAX_TIMEOUT_SECONDS);
}

void readTotalTimeout(const Value& value, Config& config)
{
    config.httpTotalTimeoutSeconds = integerOf(value, 1, MAX_TIMEOUT_SECONDS);
}

void readStallTimeout(const Value& value, Config& config)
{
    config.httpStallTimeoutSeconds = integerOf(value, 1, MAX_TIMEOUT_SECONDS);
}

void readResponseLimit(const Value& value, Config& config)
{
    config.httpResponseLimitBytes = integerOf(value, 1, MAX_RESPONSE_LIMIT);
}

/// A key that the file may have: its table (empty for the top level), its name, and its reader.
struct Key {
    std::string_view table;
    std::string_view name;
    void (*read)(const Value& value, Config& config);
};

constexpr std::array<Key, 13> KEYS = {{
    {"", "master_server", readMasterServer},
    {"features", "enabled", readEnabledFeatures},
    {"log", "level", readLogLevel},
    {"log", "destination", readLogDestination},
    {"database", "connection", readDatabaseConnection},
    {"database", "on_connect", readDatabaseOnConnect},
    {"tls", "certificate", readTlsCertificate},
    {"tls", "key", readTlsKey},
    {"tls", "ca", readTlsCa},
    {"http", "connect_timeout", readConnectTimeout},
    {"http", "total_timeout", readTotalTimeout},
    {"http", "stall_timeout", readStallTimeout},
    {"http", "response_limit", readResponseLimit},
}};

bool isTableName(std::string_view name)
{
    return !name.empty() &&
           std::any_of(KEYS.begin(), KEYS.end(), [name](const Key& key) { return key.table == name; });
}

void readTable(const std::string& file, std::string_view tableName, const toml::table& table, Config& config)
{
    for (const auto& [name, node] : table) {
        const std::string key = tableName.empty() ? std::string(name.str())
                                                  : std::string(tableName) + "." + std::string(name.str());
        if (tableName.empty() && isTableName(name.str())) {
            const toml::table* const inner = node.as_table();
            if (inner == nullptr) {
                fail(file, node.source().begin,
                     quoted(key) + " must be a table, not of type " + typeName(node));
            }
            readTable(file, name.str(), *inner, config);
            continue;
        }
        const auto* const known =
            std::find_if(KEYS.begin(), KEYS.end(), [&, &keyName = name](const Key& candidate) {
                return candidate.table == tableName && candidate.name == keyName.str();
            });
        if (known == KEYS.end()) {
            fail(file, name.source().begin, "unknown key " + quoted(key));
        }
        known->read({file, key, node}, config);
    }
}

toml::table parseToml(const std::string& text, const std::string& name)
{
    TextPlace place;
    if (hasDeepKey(text, place)) {
        throw ConfigError(name + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) +
                          ": a key has more than " + std::to_string(MOST_KEY_PARTS) + " parts");
    }
    try {
        return toml::parse(std::string_view(text), std::string_view(name));
    } catch (const toml::parse_error& error) {
        fail(name, error.source().begin, std::string(error.description()));
    }
}

} // namespace

Config parseConfig(const std::string& text, const std::string& name)
{
    const toml::table document = parseToml(text, name);
    Config config;
    readTable(name, "", document, config);
    return config;
}

} // namespace Tessara::Keepsafe::Platform
