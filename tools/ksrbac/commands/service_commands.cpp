#include "commands/service_commands.h"

namespace ksrbac {

namespace {

/// One overload per command.
struct Runner {
    bool json;
    Console& console;

    ExitStatus operator()(const RoleListOptions& options) const
    {
        return runRoleList(options, json, console);
    }
    ExitStatus operator()(const RoleGetOptions& options) const { return runRoleGet(options, json, console); }
    ExitStatus operator()(const RoleCreateOptions& options) const
    {
        return runRoleCreate(options, json, console);
    }
    ExitStatus operator()(const RoleUpdateOptions& options) const { return runRoleUpdate(options); }
    ExitStatus operator()(const RoleDeleteOptions& options) const { return runRoleDelete(options); }
    ExitStatus operator()(const ObjectGetOptions& options) const
    {
        return runObjectGet(options, json, console);
    }
    ExitStatus operator()(const ObjectSetInheritOptions& options) const
    {
        return runObjectSetInherit(options);
    }
    ExitStatus operator()(const ObjectRegisterOptions& options) const
    {
        return runObjectRegister(options, console);
    }
    ExitStatus operator()(const ObjectUnregisterOptions& options) const
    {
        return runObjectUnregister(options);
    }
    ExitStatus operator()(const AccessListOptions& options) const
    {
        return runAccessList(options, json, console);
    }
    ExitStatus operator()(const AccessAddOptions& options) const
    {
        return runAccessAdd(options, json, console);
    }
    ExitStatus operator()(const AccessDeleteOptions& options) const { return runAccessDelete(options); }
    ExitStatus operator()(const OperationListOptions& options) const
    {
        return runOperationList(options, json, console);
    }
};

} // namespace

ExitStatus runServiceCommand(const ServiceCommand& command, bool json, Console& console)
{
    return std::visit(Runner{json, console}, command);
}

} // namespace ksrbac
