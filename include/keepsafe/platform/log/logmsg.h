#ifndef KEEPSAFE_PLATFORM_LOG_LOGMSG_H
#define KEEPSAFE_PLATFORM_LOG_LOGMSG_H

#include <keepsafe/platform/export/export.h>

/// \file
/// The product's logging functions. All of them may be called from any thread, never throw, leave
/// `errno` as it was, and do nothing but compare two integers when the message is below the threshold of
/// `log_sink.h`. A null pointer for a tag, format or text counts as an empty string. A message whose
/// arguments cannot be formatted is written as its format; one for which memory is short is truncated.

namespace Tessara::Keepsafe::Platform {

/// Message levels, least severe first. A message is written when its level is at least the threshold.
inline constexpr int LOG_LEVEL_DEBUG = 2;       ///< such as received documents
inline constexpr int LOG_LEVEL_INFORMATION = 4; ///< request summaries, files being mapped
inline constexpr int LOG_LEVEL_NOTABLE = 8;     ///< notable events, such as a miss of the operation cache
inline constexpr int LOG_LEVEL_ERROR = 16;

} // namespace Tessara::Keepsafe::Platform

/// Writes a message in printf form. `tag` is the qualified name of the logging function.
KEEPSAFE_API void logmsgf(int level, const char* tag, const char* format, ...) noexcept
    __attribute__((format(printf, 3, 4)));

/// Writes a debug message by verbosity (1 the most important, larger ones are more detailed) and category, a
/// number that names the area of the product. Verbosity 2 and below counts as level 4, anything above as
/// level 2.
KEEPSAFE_API void logmsgvf(int verbosity, int category, const char* tag, const char* format, ...) noexcept
    __attribute__((format(printf, 4, 5)));

/// As `logmsgvf`, with a finished text.
KEEPSAFE_API void logmsgv(int verbosity, int category, const char* tag, const char* text) noexcept;

#endif
