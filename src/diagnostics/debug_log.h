#ifndef KEEPSAFE_DIAGNOSTICS_DEBUG_LOG_H
#define KEEPSAFE_DIAGNOSTICS_DEBUG_LOG_H

#include <locale>
#include <sstream>
#include <string_view>

#include <keepsafe/platform/log/KSLogger.h>

namespace Tessara::Keepsafe::diagnostics {

/// Tag, importance and source location of a message: made at the place of the call.
struct DebugOrigin {
    DebugOrigin(const char* speaker, int importance, const char* sourceFile = __builtin_FILE(),
                int sourceLine = __builtin_LINE()) noexcept
        : tag(speaker), level(importance), file(sourceFile), line(sourceLine)
    {
    }

    const char* tag;
    int level;
    std::string_view file;
    int line;
};

/// Writes the parts one after the other, and the source location in parentheses, to the process's default
/// logger, if there is one and it accepts messages of this level. Otherwise no text is built.
template <typename... Parts>
void debugLog(const DebugOrigin& origin, const Parts&... parts)
{
    KSLogger* const logger = KSLogger::s_default;
    if (logger == nullptr || logger->level() < origin.level) {
        return;
    }
    std::ostringstream text;
    text.imbue(std::locale::classic()); // numbers without the grouping of the program's locale
    (text << ... << parts);
    text << '(' << origin.file.substr(origin.file.rfind('/') + 1) << ':' << origin.line << ')';
    logger->logDebug(origin.tag, origin.level, text.str());
}

} // namespace Tessara::Keepsafe::diagnostics

#endif
