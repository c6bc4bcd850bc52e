#ifndef KEEPSAFE_SRC_PLATFORM_LOG_SYSLOGSINK_H
#define KEEPSAFE_SRC_PLATFORM_LOG_SYSLOGSINK_H

#include <string>

#include <keepsafe/platform/log/log_sink.h>

namespace Tessara::Keepsafe::Platform::detail {

/// Sends "tag: text" to the system log, facility LOG_DAEMON, with the process id. The system log adds the
/// time itself. The program name is a setting of the whole process and remains after the sink is gone:
/// closing the log would remove the name that a later sink has set.
class SyslogSink final : public LogSink {
public:
    explicit SyslogSink(const std::string& program);
    void write(const LogRecord& record) noexcept override;
};

} // namespace Tessara::Keepsafe::Platform::detail

#endif
