#ifndef KEEPSAFE_DIAGNOSTICS_FAIL_H
#define KEEPSAFE_DIAGNOSTICS_FAIL_H

#include <string>

#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/ExplainedFailure.h>

#include "tell.h"

namespace Tessara::Keepsafe::diagnostics {

/// Logs an error and throws it, with the text of the log line as its reason.
[[noreturn]] inline void fail(int status, const char* tag, const std::string& text)
{
    tell(Platform::LOG_LEVEL_ERROR, tag, text);
    throw ExplainedFailure(status, text);
}

} // namespace Tessara::Keepsafe::diagnostics

#endif
