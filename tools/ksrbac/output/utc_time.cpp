#include "output/utc_time.h"

#include <cstdio>
#include <ctime>

namespace ksrbac {

namespace {

constexpr long long PER_SECOND = 1000;

/// The distance without a sign, which may be more than the type of the times holds.
unsigned long long distance(long long from, long long to)
{
    const auto a = static_cast<unsigned long long>(from);
    const auto b = static_cast<unsigned long long>(to);
    return from < to ? b - a : a - b;
}

std::string inTwoUnits(unsigned long long seconds)
{
    struct Unit {
        unsigned long long seconds;
        const char* name;
    };
    constexpr Unit units[] = {{86400, " d"}, {3600, " h"}, {60, " min"}, {1, " s"}};
    std::string text;
    int shown = 0;
    for (const Unit& unit : units) {
        const unsigned long long count = seconds / unit.seconds;
        seconds %= unit.seconds;
        if (count > 0 || shown > 0) {
            ++shown;
        }
        if (count > 0 && shown <= 2) {
            text += (text.empty() ? "" : " ") + std::to_string(count) + unit.name;
        }
    }
    return text;
}

} // namespace

std::string utcTime(long long milliseconds)
{
    long long rest = milliseconds % PER_SECOND;
    if (rest < 0) {
        rest += PER_SECOND;
    }
    // Rounded down, without leaving the range of the type.
    const std::time_t seconds =
        milliseconds / PER_SECOND - (milliseconds < 0 && milliseconds % PER_SECOND != 0 ? 1 : 0);
    std::tm parts = {};
    if (gmtime_r(&seconds, &parts) == nullptr) {
        return "out of range";
    }
    char text[64];
    (void)std::snprintf(text, sizeof text, "%04lld-%02d-%02dT%02d:%02d:%02d.%03lldZ",
                        static_cast<long long>(parts.tm_year) + 1900, parts.tm_mon + 1, parts.tm_mday,
                        parts.tm_hour, parts.tm_min, parts.tm_sec, rest);
    return text;
}

std::string timeFrom(long long nowMilliseconds, long long milliseconds)
{
    const std::string span = inTwoUnits(distance(nowMilliseconds, milliseconds) / PER_SECOND);
    if (span.empty()) {
        return "now";
    }
    return milliseconds > nowMilliseconds ? "in " + span : span + " ago";
}

} // namespace ksrbac
