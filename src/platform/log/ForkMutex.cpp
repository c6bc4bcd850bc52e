#include "ForkMutex.h"

#include "ForkHandlers.h"

namespace Tessara::Keepsafe::Platform::detail {

std::mutex sinkMutex;
std::mutex syslogMutex;

namespace {

// Made while the library is loaded, before any module above this one can make its own handlers: those then
// run first before a fork and last after it, and may log.
const Process::HeldAcrossFork<syslogMutex, sinkMutex> heldAcrossFork;

} // namespace
} // namespace Tessara::Keepsafe::Platform::detail
