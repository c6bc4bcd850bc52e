#ifndef KEEPSAFE_PLATFORM_LOG_LOG_SINK_H
#define KEEPSAFE_PLATFORM_LOG_LOG_SINK_H

#include <memory>
#include <string>
#include <string_view>

#include <keepsafe/platform/export/export.h>

/// \file
/// Which log messages are written, and where. The settings apply to the whole process; they may be
/// changed at any time from any thread. Without a call the sink is standard error and the threshold
/// `LOG_LEVEL_NOTABLE`.
///
/// fork: a child may log, also when other threads of its parent were logging. The settings and the sinks of
/// this file are the parent's; a file sink of the child appends to the same file.

namespace Tessara::Keepsafe::Platform {

/// One message as a sink receives it. The views are valid during the call only. A text of more than 16 KiB is
/// cut there, and ends in "... (N more bytes)".
struct LogRecord {
    int level;
    std::string_view tag;
    std::string_view text;
};

/// A destination of log messages. `write` is called from any thread, possibly several at once, with no lock
/// held, and must not throw. A sink that was replaced lives until the last such call has ended.
class KEEPSAFE_API LogSink {
public:
    LogSink() = default;
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;
    virtual ~LogSink();
    virtual void write(const LogRecord& record) noexcept = 0;
};

/// One line per message: time (UTC), level, process and thread, tag, text:
///
///     2024-02-29T23:59:58.007Z error(16) 4711/4712 RoleAPI::get_role: no such role
///
/// The level's name is that of the nearest named level below it. Control and format characters, line and
/// paragraph separators and bytes that are not UTF-8 are written as \xHH, so that one message is always one
/// line, handed over in one piece: lines of several threads and processes do not mix. What cannot be written
/// is lost.
KEEPSAFE_API std::shared_ptr<LogSink> makeStderrSink();
/// Appends such lines to a file, which is created when missing (mode 0640 less the umask). Throws
/// `std::runtime_error` that names the file and the reason when it cannot be opened.
KEEPSAFE_API std::shared_ptr<LogSink> makeFileSink(const std::string& path);
/// Sends messages, escaped likewise, to syslog with facility LOG_DAEMON under the given program name. Levels
/// from 16 on become LOG_ERR, from 8 on LOG_NOTICE, from 4 on LOG_INFO, others LOG_DEBUG. The program name is
/// a setting of the C library for the whole process: the sink made last decides it.
KEEPSAFE_API std::shared_ptr<LogSink> makeSyslogSink(const std::string& program);

/// Replaces the sink and returns the previous one, never null. A null pointer restores the standard error
/// sink.
KEEPSAFE_API std::shared_ptr<LogSink> setLogSink(std::shared_ptr<LogSink> sink);

/// Messages below this level are dropped.
KEEPSAFE_API void setLogThreshold(int level) noexcept;
KEEPSAFE_API int logThreshold() noexcept;

} // namespace Tessara::Keepsafe::Platform

#endif
