#ifndef KSRBAC_COMMANDS_COMMANDS_H
#define KSRBAC_COMMANDS_COMMANDS_H

#include "cli/command_line.h"
#include "exit_status.h"
#include "io/Console.h"

/// \file
/// The commands. Each prints its results to the console and returns what the process shall tell its caller.
/// Exceptions of the library, `InputError` and `OutputError` pass through.

namespace ksrbac {

ExitStatus runCheck(const CheckOptions& options, bool json, Console& console);
ExitStatus runCacheInfo(const CacheInfoOptions& options, bool json, Console& console);
ExitStatus runCacheVerify(const CacheVerifyOptions& options, bool json, Console& console);
ExitStatus runOperations(bool json, Console& console);
ExitStatus runTokenVerify(const TokenVerifyOptions& options, bool json, Console& console);
ExitStatus runTokenShow(const TokenShowOptions& options, bool json, Console& console);
ExitStatus runTokenRoles(const TokenRolesOptions& options, bool json, Console& console);

} // namespace ksrbac

#endif
