#ifndef KSRBAC_CLI_SERVICE_OPTIONS_H
#define KSRBAC_CLI_SERVICE_OPTIONS_H

#include <optional>
#include <string>
#include <variant>
#include <vector>

/// \file
/// Options of the commands that ask the access-control service, as they were given.

namespace ksrbac {

struct RoleListOptions {
    std::string filter;
};

struct RoleGetOptions {
    std::string id;
};

struct RoleCreateOptions {
    std::string name;
    std::string description;
};

struct RoleUpdateOptions {
    std::string id;
    std::optional<std::string> name;
    std::optional<std::string> description; ///< empty: the role shall have none
};

struct RoleDeleteOptions {
    std::string id;
};

struct ObjectGetOptions {
    std::string object;
};

struct ObjectSetInheritOptions {
    std::string object;
    std::string inherit;
};

/// A program with its arguments, which stand behind `--`.
struct ExecOptions {
    std::optional<std::string> program;
    std::vector<std::string> arguments;
};

struct ObjectRegisterOptions {
    std::optional<std::string> object;
    std::optional<std::string> type;
    std::vector<std::string> children;
    std::vector<std::string> grants;
    std::optional<std::string> inherit;
    bool ignoreRegistered = false;
    std::optional<std::string> bulkFile; ///< in place of all of the above
    ExecOptions exec;
};

struct ObjectUnregisterOptions {
    std::string object;
    ExecOptions exec;
};

struct AccessListOptions {
    std::string object;
};

struct AccessAddOptions {
    std::string object;
    std::string role;
    std::string operations;
    std::string propagation = "OBJECT";
};

struct AccessDeleteOptions {
    std::string object;
    std::string id;
};

struct OperationListOptions {
    std::string filter;
};

using ServiceCommand =
    std::variant<RoleListOptions, RoleGetOptions, RoleCreateOptions, RoleUpdateOptions, RoleDeleteOptions,
                 ObjectGetOptions, ObjectSetInheritOptions, ObjectRegisterOptions, ObjectUnregisterOptions,
                 AccessListOptions, AccessAddOptions, AccessDeleteOptions, OperationListOptions>;

/// What the commands of this file are parsed into, one after the other.
struct ServiceOptions {
    RoleListOptions roleList;
    RoleGetOptions roleGet;
    RoleCreateOptions roleCreate;
    RoleUpdateOptions roleUpdate;
    RoleDeleteOptions roleDelete;
    ObjectGetOptions objectGet;
    ObjectSetInheritOptions objectSetInherit;
    ObjectRegisterOptions objectRegister;
    ObjectUnregisterOptions objectUnregister;
    AccessListOptions accessList;
    AccessAddOptions accessAdd;
    AccessDeleteOptions accessDelete;
    OperationListOptions operationList;
};

} // namespace ksrbac

#endif
