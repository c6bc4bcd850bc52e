#include <keepsafe/platform/log/log_sink.h>

#include <cerrno>
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

void dispatch(int level, std::string_view tag, std::string_view text) noexcept
{
    const int errorNumber = errno;
    std::shared_ptr<LogSink> sink;
    {
        const std::lock_guard<std::mutex> guard(sinkMutex);
        sink = *current;
    }
    if (sink != nullptr) {
        sink->write({level, tag, text});
    } else {
        StderrSink().write({level, tag, text});
    }
    errno = errorNumber;
}

} // namespace detail
} // namespace Tessara::Keepsafe::Platform
