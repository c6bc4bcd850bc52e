#ifndef KSRBAC_COMMANDS_DECISION_TABLE_H
#define KSRBAC_COMMANDS_DECISION_TABLE_H

#include <string>

#include "commands/policy.h"
#include "exit_status.h"
#include "io/Console.h"

namespace ksrbac {

/// Makes the decisions of a table and prints those that are not as expected. Each line has four columns with
/// tabs between them: roles, operation, object, and "allow" or "deny". Lines that begin with # and empty
/// ones are comments. Throws `InputError` that names the line for anything else, and for a table without any
/// decision.
ExitStatus compareWithTable(Policy& policy, const std::string& path, RoleNames& names, bool json,
                            Console& console);

} // namespace ksrbac

#endif
