#include "cli/since.h"

#include <regex>

#include "exit_status.h"
#include "output/escape.h"
#include "output/utc_time.h"
#include "time_units.h"

namespace ksrbac {

namespace {

constexpr std::size_t LONGEST = 64; // expressions are matched by recursion

} // namespace

std::string parseSince(const std::string& name, const std::string& text,
                       std::chrono::system_clock::time_point now)
{
    static const std::regex revision("[0-9]{1,18}");
    static const std::regex duration("([0-9]{1,6})([smhdw])");
    static const std::regex date("[0-9]{4}-[0-9]{2}-[0-9]{2}");
    static const std::regex time("[0-9]{4}-[0-9]{2}-[0-9]{2}[Tt][0-9:.]+([Zz]|[+-][0-9]{2}:[0-9]{2})");
    std::smatch match;
    if (text.size() <= LONGEST) {
        if (std::regex_match(text, revision) || std::regex_match(text, time)) {
            return text;
        }
        if (std::regex_match(text, date)) {
            return text + "T00:00:00Z";
        }
        if (std::regex_match(text, match, duration)) {
            const std::chrono::seconds back(std::stoll(match[1].str()) *
                                            Tessara::Keepsafe::Text::secondsOf(match[2].str().front()));
            return utcTime(
                std::chrono::duration_cast<std::chrono::milliseconds>((now - back).time_since_epoch())
                    .count());
        }
    }
    throw InputError(name +
                     ": not a duration (90m, 24h, 7d), a date or time (2026-01-31, 2026-01-31T12:00:00Z) "
                     "or a revision: \"" +
                     escapeForMessage(text) + '"');
}

} // namespace ksrbac
