#ifndef KSRBAC_COMMANDS_COMMANDS_H
#define KSRBAC_COMMANDS_COMMANDS_H

#include "cli/Command.h"

namespace ksrbac {

/// The commands of the program: parser, help, manual page, shell completion and their tests come from this
/// table.
const CommandTable& commandTable();

// Each is the `add` of its row, in a file with the command's name.
Action addCheck(CLI::App& command);
Action addWhoCan(CLI::App& command);
Action addWhatCan(CLI::App& command);
Action addList(CLI::App& command);
Action addSimulate(CLI::App& command);
Action addCacheInfo(CLI::App& command);
Action addCacheDump(CLI::App& command);
Action addCacheDiff(CLI::App& command);
Action addCacheVerify(CLI::App& command);
Action addReport(CLI::App& command);
Action addOperations(CLI::App& command);
Action addTokenVerify(CLI::App& command);
Action addTokenShow(CLI::App& command);
Action addTokenRoles(CLI::App& command);
Action addRoleList(CLI::App& command);
Action addRoleGet(CLI::App& command);
Action addRoleCreate(CLI::App& command);
Action addRoleUpdate(CLI::App& command);
Action addRoleDelete(CLI::App& command);
Action addObjectGet(CLI::App& command);
Action addObjectSetInherit(CLI::App& command);
Action addObjectRegister(CLI::App& command);
Action addObjectUnregister(CLI::App& command);
Action addAccessList(CLI::App& command);
Action addAccessAdd(CLI::App& command);
Action addAccessDelete(CLI::App& command);
Action addChanges(CLI::App& command);
Action addOperationList(CLI::App& command);
Action addComplete(CLI::App& command);

} // namespace ksrbac

#endif
