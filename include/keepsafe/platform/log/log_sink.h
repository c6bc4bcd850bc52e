#ifndef KEEPSAFE_PLATFORM_LOG_LOG_SINK_H
#define KEEPSAFE_PLATFORM_LOG_LOG_SINK_H

#include <memory>
#include <string>
#include <string_view>

#include <keepsafe/platform/export/export.h>

/// \file
/// Where log messages go and which ones. The settings hold for the whole process; they may be changed at any
/// time from any thread. Without a call the sink is standard error and the threshold `LOG_LEVEL_NOTABLE`.

namespace Tessara::Keepsafe::Platform {

/// One message as a sink receives it. The views are valid during the call only.
struct LogRecord {
    int level;
    std::string_view tag;
    std::string_view text;
};

/// A destination of log messages. `write` is called from any thread, possibly several at once, and must not
/// throw.
class KEEPSAFE_API LogSink {
public:
    LogSink() = default;
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;
    virtual ~LogSink();
    virtual void write(const LogRecord& record) noexcept = 0;
};

/// One line per message: time, level, process and thread, tag, text. Control characters in the text are
/// written as \xHH, so that one message is always one line.
KEEPSAFE_API std::shared_ptr<LogSink> makeStderrSink();
/// Appends such lines to a file, which is created when missing. Throws `std::runtime_error` that names the
/// file and the reason when it cannot be opened.
KEEPSAFE_API std::shared_ptr<LogSink> makeFileSink(const std::string& path);
/// Sends messages to syslog with facility LOG_DAEMON under the given program name.
KEEPSAFE_API std::shared_ptr<LogSink> makeSyslogSink(const std::string& program);

/// Replaces the sink and returns the one before, never null. A null pointer brings the standard error sink
/// back.
KEEPSAFE_API std::shared_ptr<LogSink> setLogSink(std::shared_ptr<LogSink> sink);

/// Messages below this level are dropped.
KEEPSAFE_API void setLogThreshold(int level) noexcept;
KEEPSAFE_API int logThreshold() noexcept;

} // namespace Tessara::Keepsafe::Platform

#endif
