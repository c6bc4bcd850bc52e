#ifndef KEEPSAFE_SRC_PLATFORM_LOG_SYSLOGSINK_H
#define KEEPSAFE_SRC_PLATFORM_LOG_SYSLOGSINK_H

#include <string>

#include <spdlog/sinks/syslog_sink.h>

#include <keepsafe/platform/log/log_sink.h>

#include "ForkMutex.h"

namespace Tessara::Keepsafe::Platform::detail {

/// Sends "tag: text" to the system log, facility LOG_DAEMON, with the process id. The system log adds time
/// and host itself.
class SyslogSink final : public LogSink {
public:
    explicit SyslogSink(const std::string& program);
    void write(const LogRecord& record) noexcept override;

private:
    spdlog::sinks::syslog_sink<SyslogMutex> sink_;
};

} // namespace Tessara::Keepsafe::Platform::detail

#endif
