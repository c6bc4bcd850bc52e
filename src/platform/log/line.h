#ifndef KEEPSAFE_SRC_PLATFORM_LOG_LINE_H
#define KEEPSAFE_SRC_PLATFORM_LOG_LINE_H

#include <chrono>
#include <string_view>

#include <spdlog/common.h>

#include <keepsafe/platform/log/log_sink.h>

/// \file The text of log lines. Only spdlog's formatting is used: its file sinks buffer and lock, so that a
/// forked child could inherit a held lock or half a message, and its syslog sink closes the process's log.

namespace Tessara::Keepsafe::Platform::detail {

/// Appends `text` with every byte that could break a line, command a terminal or disguise what is shown
/// written as \xHH: control and format characters (see printable.h) and bytes that are not UTF-8.
void appendEscaped(std::string_view text, spdlog::memory_buf_t& out);

/// Appends a whole line for the record, its end included:
///
///     2024-02-29T23:59:58.007Z error(16) 4711/4712 Tag::of: text
///
/// Each level name covers a range of numbers: debug below 4, information below 8, notable below 16, error
/// from there on. The time is UTC and computed here: the C library's functions hold a lock that a forked
/// child could inherit locked.
void appendLine(const LogRecord& record, std::chrono::system_clock::time_point now,
                spdlog::memory_buf_t& out);

} // namespace Tessara::Keepsafe::Platform::detail

#endif
