#include "SyslogSink.h"

#include <exception>

#include <syslog.h>

#include <keepsafe/platform/log/logmsg.h>

#include "line.h"

namespace Tessara::Keepsafe::Platform::detail {
namespace {

/// spdlog turns these into LOG_ERR, LOG_WARNING, LOG_INFO and LOG_DEBUG.
spdlog::level::level_enum severity(int level)
{
    if (level >= LOG_LEVEL_ERROR) {
        return spdlog::level::err;
    }
    if (level >= LOG_LEVEL_NOTABLE) {
        return spdlog::level::warn;
    }
    return level >= LOG_LEVEL_INFORMATION ? spdlog::level::info : spdlog::level::debug;
}

} // namespace

SyslogSink::SyslogSink(const std::string& program) : sink_(program, LOG_PID, LOG_DAEMON, false) {}

void SyslogSink::write(const LogRecord& record) noexcept
{
    try {
        spdlog::memory_buf_t line;
        appendEscaped(record.tag, line);
        line.append(std::string_view(": "));
        appendEscaped(record.text, line);
        sink_.log(spdlog::details::log_msg(spdlog::string_view_t(), severity(record.level),
                                           spdlog::string_view_t(line.data(), line.size())));
    } catch (const std::exception&) {
        // Short of memory: the message is lost, and there is nowhere to say so.
        return;
    }
}

} // namespace Tessara::Keepsafe::Platform::detail
