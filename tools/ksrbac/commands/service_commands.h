#ifndef KSRBAC_COMMANDS_SERVICE_COMMANDS_H
#define KSRBAC_COMMANDS_SERVICE_COMMANDS_H

#include "cli/service_options.h"
#include "exit_status.h"
#include "io/Console.h"

/// \file
/// The commands that ask the access-control service: one request each; `role update`, `object register` and
/// `object unregister` two. They check all
/// arguments before they send anything (`InputError`), and tell a failure by `ServiceError`.

namespace ksrbac {

ExitStatus runRoleList(const RoleListOptions& options, bool json, Console& console);
ExitStatus runRoleGet(const RoleGetOptions& options, bool json, Console& console);
ExitStatus runRoleCreate(const RoleCreateOptions& options, bool json, Console& console);
ExitStatus runRoleUpdate(const RoleUpdateOptions& options);
ExitStatus runRoleDelete(const RoleDeleteOptions& options);
ExitStatus runObjectGet(const ObjectGetOptions& options, bool json, Console& console);
ExitStatus runObjectSetInherit(const ObjectSetInheritOptions& options);
ExitStatus runObjectRegister(const ObjectRegisterOptions& options, Console& console);
ExitStatus runObjectUnregister(const ObjectUnregisterOptions& options);
ExitStatus runAccessList(const AccessListOptions& options, bool json, Console& console);
ExitStatus runAccessAdd(const AccessAddOptions& options, bool json, Console& console);
ExitStatus runAccessDelete(const AccessDeleteOptions& options);
ExitStatus runOperationList(const OperationListOptions& options, bool json, Console& console);

/// Runs whichever it is.
ExitStatus runServiceCommand(const ServiceCommand& command, bool json, Console& console);

} // namespace ksrbac

#endif
