#ifndef KEEPSAFE_SRC_PROCESS_SECURE_EXECUTION_H
#define KEEPSAFE_SRC_PROCESS_SECURE_EXECUTION_H

#include <sys/auxv.h>

namespace Tessara::Keepsafe::Process {

/// Whether the process was given rights at its start that whoever started it does not have: a set-user-ID or
/// set-group-ID program, file capabilities, or a change of the security domain. The environment is then the
/// word of somebody with fewer rights.
inline bool isSecureExecution() noexcept { return getauxval(AT_SECURE) != 0; }

} // namespace Tessara::Keepsafe::Process

#endif
