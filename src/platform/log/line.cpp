#include "line.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

#include <spdlog/details/os.h>
#include <spdlog/fmt/fmt.h>

#include <keepsafe/platform/log/logmsg.h>

#include "printable.h"

namespace Tessara::Keepsafe::Platform::detail {
namespace {

const char* levelName(int level)
{
    if (level >= LOG_LEVEL_ERROR) {
        return "error";
    }
    if (level >= LOG_LEVEL_NOTABLE) {
        return "notable";
    }
    return level >= LOG_LEVEL_INFORMATION ? "information" : "debug";
}

struct Date {
    std::int64_t year;
    unsigned month, day;
};

/// The Gregorian date of a day counted from 1970-01-01. Years begin in March here, so that the leap day is
/// the last day of its year, and 400 years (146097 days) repeat.
Date dateOfDay(std::int64_t daysSinceEpoch)
{
    const std::int64_t days = daysSinceEpoch + 719468;
    const std::int64_t era = days / 146097; // never negative: the clock begins in 1677
    const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
    const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned marchMonth = (5 * dayOfYear + 2) / 153;
    const unsigned month = marchMonth < 10 ? marchMonth + 3 : marchMonth - 9;
    return {static_cast<std::int64_t>(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0), month,
            dayOfYear - (153 * marchMonth + 2) / 5 + 1};
}

void appendTime(std::chrono::system_clock::time_point now, spdlog::memory_buf_t& out)
{
    using std::chrono::floor;
    using Days = std::chrono::duration<std::int64_t, std::ratio<86400>>;
    const auto sinceEpoch = floor<std::chrono::milliseconds>(now.time_since_epoch());
    const Days days = floor<Days>(sinceEpoch);
    const Date date = dateOfDay(days.count());
    const auto milliseconds = (sinceEpoch - days).count();
    fmt::format_to(std::back_inserter(out), "{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", date.year,
                   date.month, date.day, milliseconds / 3600000, milliseconds / 60000 % 60,
                   milliseconds / 1000 % 60, milliseconds % 1000);
}

} // namespace

void appendEscaped(std::string_view text, spdlog::memory_buf_t& out)
{
    while (!text.empty()) {
        const std::size_t length = Process::printableLength(text);
        if (length == 0) {
            fmt::format_to(std::back_inserter(out), "\\x{:02X}", static_cast<unsigned char>(text.front()));
            text.remove_prefix(1);
        } else {
            out.append(text.data(), text.data() + length);
            text.remove_prefix(length);
        }
    }
}

void appendLine(const LogRecord& record, std::chrono::system_clock::time_point now, spdlog::memory_buf_t& out)
{
    appendTime(now, out);
    // The thread's number is queried each time: a cached one would be the parent's after a fork.
    fmt::format_to(std::back_inserter(out), " {}({}) {}/{} ", levelName(record.level), record.level,
                   spdlog::details::os::pid(), spdlog::details::os::_thread_id());
    appendEscaped(record.tag, out);
    fmt::format_to(std::back_inserter(out), ": ");
    appendEscaped(record.text, out);
    out.push_back('\n');
}

} // namespace Tessara::Keepsafe::Platform::detail
