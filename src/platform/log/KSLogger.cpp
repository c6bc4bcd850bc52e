#include <keepsafe/platform/log/KSLogger.h>

#include <keepsafe/platform/log/logmsg.h>

#include "dispatch.h"

namespace Platform = Tessara::Keepsafe::Platform;

std::atomic<KSLogger*> KSLogger::s_default{nullptr};

void KSLogger::logDebug(const char* tag, int level, const std::string& text) noexcept
{
    if (level > this->level()) {
        return;
    }
    Platform::detail::dispatch(level <= 1 ? Platform::LOG_LEVEL_INFORMATION : Platform::LOG_LEVEL_DEBUG,
                               tag == nullptr ? "" : tag, text);
}
