#include "driver_keywords.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace Tessara::Dal {
namespace {

/// Whether the text has the keyword, which is in lower case, in any case and anywhere.
bool has(const std::string& text, std::string_view keyword)
{
    return std::search(text.begin(), text.end(), keyword.begin(), keyword.end(), [](char is, char expected) {
               return expected == (is >= 'A' && is <= 'Z' ? is - 'A' + 'a' : is);
           }) != text.end();
}

/// SQLite's driver waits up to 100 s for a locked database unless its connection string says "Timeout" in
/// milliseconds; neither ODBC's attributes nor SQLite's own setting change that. It waits once to connect,
/// and twice that long for a statement.
std::string lockTimeout(const DbConnectionSettings& settings)
{
    if (settings.queryTimeoutSeconds == 0 && settings.connectTimeoutSeconds == 0) {
        return {};
    }
    constexpr std::uint64_t SLACK_MS = 100;
    constexpr std::uint64_t NO_BOUND = 1U << 30U;
    const std::uint64_t waitsToConnect = 1 + 2 * settings.onConnect.size();
    const auto share = [](std::uint64_t seconds, std::uint64_t parts) {
        return seconds == 0 ? NO_BOUND : (seconds * 1000 - SLACK_MS) / parts;
    };
    const std::uint64_t wait = std::min({share(settings.queryTimeoutSeconds, 2),
                                         share(settings.connectTimeoutSeconds, waitsToConnect), NO_BOUND});
    return "Timeout=" + std::to_string(wait) + ";";
}

/// SQLite makes the file that it does not find, and so takes a misspelt name for an empty database. The
/// keyword is that of its driver and holds for attached files, too.
std::string noNewFile(const DbConnectionSettings& settings)
{
    return has(settings.connectionString, "nocreat") ? "" : "NoCreat=1;";
}

/// Options of PostgreSQL's client library. A server whose host vanishes is noticed within the bound of a
/// query, whether it owes an answer or the acknowledgement of a question. The blank keeps the environment's
/// PGOPTIONS out.
std::string clientOptions(const DbConnectionSettings& settings)
{
    if (has(settings.connectionString, "pqopt")) {
        return {};
    }
    std::string options = "pqopt={options=' '";
    if (settings.queryTimeoutSeconds != 0) {
        constexpr unsigned int PROBES = 3;
        // The idle time and the intervals between the probes are together the bound.
        const std::string part = std::to_string(std::max(settings.queryTimeoutSeconds / (PROBES + 1), 1U));
        options += " tcp_user_timeout=" + std::to_string(std::uint64_t{settings.queryTimeoutSeconds} * 1000) +
                   " keepalives_idle=" + part + " keepalives_interval=" + part +
                   " keepalives_count=" + std::to_string(PROBES);
    }
    return options + "};";
}

} // namespace

std::string withDriverKeywords(const DbConnectionSettings& settings)
{
    return lockTimeout(settings) + noNewFile(settings) + clientOptions(settings) + settings.connectionString;
}

} // namespace Tessara::Dal
