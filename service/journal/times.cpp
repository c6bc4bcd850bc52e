#include "journal/times.h"

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <regex>

namespace keepsafe_service {

namespace {

constexpr std::int64_t PER_SECOND = 1'000'000;
constexpr int FIRST_YEAR = 1900;

/// "2026-01-31T23:59:59" and so on; empty for years that have not four digits.
std::string secondsText(std::int64_t seconds)
{
    const std::time_t time = seconds;
    std::tm parts = {};
    if (::gmtime_r(&time, &parts) == nullptr || parts.tm_year < -FIRST_YEAR ||
        parts.tm_year > 9999 - FIRST_YEAR) {
        return "";
    }
    char text[64];
    (void)std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", parts.tm_year + FIRST_YEAR,
                        parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    return text;
}

/// Seconds of UTC; nothing for a date that no month has.
std::optional<std::int64_t> secondsOf(const std::smatch& match)
{
    const auto number = [&match](std::size_t group) { return std::stoi(match[group].str()); };
    std::tm parts = {};
    parts.tm_year = number(1) - FIRST_YEAR;
    parts.tm_mon = number(2) - 1;
    parts.tm_mday = number(3);
    const std::tm asked = parts;
    const std::int64_t day = ::timegm(&parts);
    constexpr int LAST_LEAP_SECOND = 60;
    if (parts.tm_mon != asked.tm_mon || parts.tm_mday != asked.tm_mday || number(4) > 23 || number(5) > 59 ||
        number(6) > LAST_LEAP_SECOND) {
        return std::nullopt;
    }
    const int seconds = (number(4) * 60 + number(5)) * 60 + number(6);
    return day + seconds;
}

/// Seconds by which a local time is ahead of UTC; nothing for an offset that is none.
std::optional<int> offsetOf(const std::string& text)
{
    if (text == "Z" || text == "z") {
        return 0;
    }
    const int hours = std::stoi(text.substr(1, 2));
    const int minutes = std::stoi(text.substr(4, 2));
    if (hours > 23 || minutes > 59) {
        return std::nullopt;
    }
    const int seconds = (hours * 60 + minutes) * 60;
    return text.front() == '-' ? -seconds : seconds;
}

} // namespace

std::string journalTime(std::chrono::system_clock::time_point moment)
{
    const std::int64_t all =
        std::chrono::duration_cast<std::chrono::microseconds>(moment.time_since_epoch()).count();
    const std::int64_t rest = (all % PER_SECOND + PER_SECOND) % PER_SECOND;
    char fraction[32];
    (void)std::snprintf(fraction, sizeof fraction, ".%06dZ", static_cast<int>(rest));
    return secondsText((all - rest) / PER_SECOND) + fraction;
}

std::optional<std::string> journalTimeOf(const std::string& rfc3339)
{
    constexpr std::size_t LONGEST = 64; // the expression is matched by recursion
    static const std::regex form("([0-9]{4})-([0-9]{2})-([0-9]{2})[Tt]([0-9]{2}):([0-9]{2}):([0-9]{2})"
                                 "(\\.([0-9]+))?([Zz]|[+-][0-9]{2}:[0-9]{2})");
    std::smatch match;
    if (rfc3339.size() > LONGEST || !std::regex_match(rfc3339, match, form)) {
        return std::nullopt;
    }
    const std::optional<std::int64_t> local = secondsOf(match);
    const std::optional<int> offset = offsetOf(match[9].str());
    const std::string seconds = local && offset ? secondsText(*local - *offset) : "";
    if (seconds.empty()) {
        return std::nullopt;
    }
    constexpr std::size_t DIGITS = 6;
    return seconds + '.' + (match[8].str() + "000000").substr(0, DIGITS) + 'Z';
}

} // namespace keepsafe_service
