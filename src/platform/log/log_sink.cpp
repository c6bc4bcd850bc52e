#include <keepsafe/platform/log/log_sink.h>

#include <cerrno>
#include <cstddef>
#include <exception>
#include <string>
#include <utility>

#include <keepsafe/platform/log/logmsg.h>

#include "DescriptorSink.h"
#include "ForkMutex.h"
#include "NoDestructor.h"
#include "SyslogSink.h"
#include "dispatch.h"

namespace Tessara::Keepsafe::Platform {
namespace {

/// The sink that was set, null for standard error. Guarded by sinkMutex.
Process::NoDestructor<std::shared_ptr<LogSink>> current;

} // namespace

LogSink::~LogSink() = default;

std::shared_ptr<LogSink> makeStderrSink() { return std::make_shared<detail::StderrSink>(); }

std::shared_ptr<LogSink> makeFileSink(const std::string& path)
{
    return std::make_shared<detail::FileSink>(path);
}

std::shared_ptr<LogSink> makeSyslogSink(const std::string& program)
{
    return std::make_shared<detail::SyslogSink>(program);
}

std::shared_ptr<LogSink> setLogSink(std::shared_ptr<LogSink> sink)
{
    {
        const std::lock_guard<std::mutex> guard(detail::sinkMutex);
        current->swap(sink);
    }
    return sink != nullptr ? sink : makeStderrSink();
}

void setLogThreshold(int level) noexcept { detail::threshold.store(level, std::memory_order_relaxed); }

int logThreshold() noexcept { return detail::threshold.load(std::memory_order_relaxed); }

namespace detail {

std::atomic<int> threshold{LOG_LEVEL_NOTABLE};

namespace {

/// Short enough, without half a character at its end.
std::string_view beginningOf(std::string_view text) noexcept
{
    std::size_t size = LONGEST_TEXT;
    if (text.size() > size) {
        for (int back = 0; back < 3 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U; ++back) {
            --size;
        }
    }
    return text.substr(0, size);
}

void hand(LogSink& sink, const LogRecord& record, std::size_t leftOut) noexcept
{
    if (leftOut == 0) {
        return sink.write(record);
    }
    try {
        const std::string text =
            std::string(record.text) + "... (" + std::to_string(leftOut) + " more bytes)";
        sink.write({record.level, record.tag, text});
    } catch (const std::exception&) {
        sink.write(record);
    }
}

} // namespace

void dispatch(int level, std::string_view tag, std::string_view text, std::size_t leftOut) noexcept
{
    const int errorNumber = errno;
    const std::string_view shown = beginningOf(text);
    const LogRecord record{level, tag, shown};
    leftOut += text.size() - shown.size();
    std::shared_ptr<LogSink> sink;
    {
        const std::lock_guard<std::mutex> guard(sinkMutex);
        sink = *current;
    }
    if (sink != nullptr) {
        hand(*sink, record, leftOut);
    } else {
        StderrSink standardError;
        hand(standardError, record, leftOut);
    }
    errno = errorNumber;
}

} // namespace detail
} // namespace Tessara::Keepsafe::Platform
