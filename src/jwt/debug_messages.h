#ifndef KEEPSAFE_JWT_DEBUG_MESSAGES_H
#define KEEPSAFE_JWT_DEBUG_MESSAGES_H

#include <keepsafe/platform/log/logmsg.h>

namespace Tessara::Keepsafe {

/// A step of key handling and verification that went well.
inline void debugMessage(const char* tag, const char* text)
{
    constexpr int VERBOSITY = 2;
    constexpr int CATEGORY = 3;
    logmsgv(VERBOSITY, CATEGORY, tag, text);
}

} // namespace Tessara::Keepsafe

#endif
