#include <regex>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/platform/config/config.h>

#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

namespace Platform = Tessara::Keepsafe::Platform;

std::string document() { return readFile(KEEPSAFE_SOURCE_DIR "/docs/configuration.md"); }

/// The text of the document's first block of the given language.
std::string block(const std::string& language)
{
    const std::string text = document();
    const std::string opening = "```" + language + "\n";
    const std::size_t begin = text.find(opening) + opening.size();
    return text.substr(begin, text.find("```", begin) - begin);
}

std::string errorWithPathOf(const std::string& text)
{
    return thrownBy<Platform::ConfigError>(
               [&] { Platform::parseConfig(text, "/usr/kshome/etc/keepsafe.toml"); })
        .what();
}

TEST(ConfigurationDocument, ShowsAnExampleThatCanBeRead)
{
    const Platform::Config config = Platform::parseConfig(block("toml"), "example");
    EXPECT_EQ(config.masterServer, "master.example");
    EXPECT_EQ(config.enabledFeatures, std::set<int>{1});
    EXPECT_EQ(config.logThreshold, 8);
    EXPECT_EQ(config.logDestination, "syslog");
    EXPECT_EQ(config.databaseConnection.rfind("Driver=SQLite3;", 0), 0U);
    EXPECT_EQ(config.databaseOnConnect.size(), 1U);
}

TEST(ConfigurationDocument, ListsTheDefaults)
{
    const Platform::Config config;
    const auto row = [](const std::string& key, const std::string& type, const std::string& value) {
        return "| `" + key + "` | " + type + " | `" + value + "` |";
    };
    const std::string text = document();
    for (const std::string& expected :
         {row("master_server", "string", '"' + config.masterServer + '"'),
          row("features.enabled", "array of integers", config.enabledFeatures.empty() ? "[]" : "not empty"),
          row("log.level", "integer", std::to_string(config.logThreshold)),
          row("log.destination", "string", '"' + config.logDestination + '"'),
          row("tls.certificate", "string", '"' + config.tlsCertificate + '"'),
          row("tls.key", "string", '"' + config.tlsKey + '"'),
          row("tls.ca", "string", '"' + config.tlsCa + '"'),
          row("http.connect_timeout", "integer", std::to_string(config.httpConnectTimeoutSeconds)),
          row("http.total_timeout", "integer", std::to_string(config.httpTotalTimeoutSeconds)),
          row("http.stall_timeout", "integer", std::to_string(config.httpStallTimeoutSeconds)),
          row("http.response_limit", "integer", std::to_string(config.httpResponseLimitBytes)),
          row("database.connection", "string", '"' + config.databaseConnection + '"'),
          row("database.on_connect", "array of strings",
              config.databaseOnConnect.empty() ? "[]" : "not empty")}) {
        EXPECT_NE(text.find(expected), std::string::npos) << expected;
    }
}

TEST(ConfigurationDocument, ListsKeysThatExistAndNoOthers)
{
    const std::regex pattern(R"(\n\| `([a-z_]+)(?:\.([a-z_]+))?` \|)");
    const std::string text = document();
    int keys = 0;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match, ++keys) {
        const std::string outer = (*match)[1];
        const std::string inner = (*match)[2];
        // A value of a type that no key has: the error shows whether the key is known.
        const std::string toml = inner.empty() ? outer + " = 1.5" : "[" + outer + "]\n" + inner + " = 1.5";
        const std::string key = inner.empty() ? outer : outer + "." + inner;
        EXPECT_NE(errorWithPathOf(toml).find('"' + key + "\" must be "), std::string::npos)
            << errorWithPathOf(toml);
    }
    EXPECT_EQ(keys, 13);
}

TEST(ConfigurationDocument, ShowsErrorsAsTheyAre)
{
    const std::string shown = block("text");
    for (const std::string& error :
         {errorWithPathOf("\n[features]\nenable = [1]"), errorWithPathOf("\n\n\n\n[log]\nlevel = 17"),
          errorWithPathOf("\n\n[features]\nenabled = 1")}) {
        EXPECT_NE(shown.find(error + "\n"), std::string::npos) << error;
    }
}

} // namespace
} // namespace keepsafe_test
