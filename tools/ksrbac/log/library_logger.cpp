#include "log/library_logger.h"

#include <limits>

#include <keepsafe/platform/log/KSLogger.h>
#include <keepsafe/platform/log/logmsg.h>

namespace ksrbac {

namespace Platform = Tessara::Keepsafe::Platform;

namespace {

constexpr int MOST_IMPORTANT = 1;
constexpr int ALL_DETAILS = std::numeric_limits<int>::max();

} // namespace

void setLibraryLogger(int logThreshold)
{
    static KSLogger logger(MOST_IMPORTANT);
    logger.setLevel(logThreshold <= Platform::LOG_LEVEL_DEBUG ? ALL_DETAILS : MOST_IMPORTANT);
    KSLogger::s_default = logThreshold <= Platform::LOG_LEVEL_INFORMATION ? &logger : nullptr;
}

} // namespace ksrbac
