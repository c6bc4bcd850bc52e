#ifndef KSRBAC_COMMANDS_FOLLOW_CHANGES_H
#define KSRBAC_COMMANDS_FOLLOW_CHANGES_H

#include <keepsafe/rbac/api/Changes.h>

#include "commands/JournalLines.h"
#include "io/Console.h"

namespace ksrbac {

/// Prints what the query asks for, or nothing without `since`, and then what is changed, each change once and
/// in order: until SIGINT or SIGTERM, which end the process with status 0, or until enough lines are printed.
/// Throws `ServiceError` when the service does not answer at first, or refuses; later it is asked again until
/// it answers.
void followChanges(const Tessara::Keepsafe::Rbac::ChangeQuery& query, JournalLines& lines, Console& console);

} // namespace ksrbac

#endif
