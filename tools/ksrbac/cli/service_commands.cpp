#include "cli/option_tree.h"

// The commands for managed objects, access definitions and operations.

namespace ksrbac {

namespace {

constexpr char OBJECT_FOOTER[] = R"(Example:
  ksrbac object get '|KEEPSAFE|ASSETS|')";

constexpr char GET_DESCRIPTION[] =
    R"(Show a managed object.

Prints whether grants on the objects above it reach it, and its state: READY, or
PENDING while its registration is not completed. With --json: {"object":...,
"inherit":...,"state":...}.

Exit status: 0 shown, 2 usage error, 3 the service could not be asked or
refused: its message is told, 4 standard output could not be written.)";

constexpr char GET_FOOTER[] = R"(Example:
  ksrbac object get '|KEEPSAFE|ASSETS|')";

constexpr char SET_INHERIT_DESCRIPTION[] =
    R"(Set whether grants on the objects above reach a managed object.

Prints nothing.

Exit status: 0 set, 2 usage error, 3 the service could not be asked or refused:
its message is told; when the connection broke after the request was sent, the
change may have been made.)";

constexpr char SET_INHERIT_FOOTER[] = R"(Example:
  ksrbac object set-inherit '|KEEPSAFE|ASSETS|hr-prod|' off)";

constexpr char ACCESS_FOOTER[] = R"(Example:
  ksrbac access list '|KEEPSAFE|ASSETS|')";

constexpr char LIST_DESCRIPTION[] =
    R"(List the access definitions of a managed object.

Those on the object itself; grants that reach it from above are on the objects
above. Prints a table, or with --json one object per line: {"id":...,
"object":...,"roleId":...,"propagation":...,"operations":[...]}.

Exit status: 0 listed, 2 usage error, 3 the service could not be asked or
refused: its message is told, 4 standard output could not be written.)";

constexpr char LIST_FOOTER[] = R"(Example:
  ksrbac access list --json '|KEEPSAFE|ASSETS|')";

constexpr char ADD_DESCRIPTION[] =
    R"(Grant operations on a managed object to a role.

Prints the new access definition as 'ksrbac access list' does. Operations have
commas between them; a comma that is part of a name is written %2C. Without
--propagation the grant holds on the object alone.

Exit status: 0 granted, 2 usage error, 3 the service could not be asked or
refused: its message is told; when the connection broke after the request was
sent, the grant may have been made, 4 standard output could not be written: the
grant is made.)";

constexpr char ADD_FOOTER[] = R"(Examples:
  ksrbac access add '|KEEPSAFE|ASSETS|' --role 17 \
    --operations '|OPERATIONS|VIEW|,|OPERATIONS|RESTORE|' \
    --propagation OBJECT_AND_CHILDREN)";

constexpr char DELETE_DESCRIPTION[] =
    R"(Delete an access definition of a managed object.

The id is that of 'ksrbac access list'. Prints nothing.

Exit status: 0 deleted, 2 usage error, 3 the service could not be asked or
refused: its message is told; when the connection broke after the request was
sent, the access definition may be gone.)";

constexpr char DELETE_FOOTER[] = R"(Example:
  ksrbac access delete '|KEEPSAFE|ASSETS|' 21)";

constexpr char OPERATION_FOOTER[] = R"(Example:
  ksrbac operation list)";

constexpr char OPERATION_LIST_DESCRIPTION[] =
    R"(List the operations that the access-control service knows.

The filter is the service's: startswith(id,'|OPERATIONS|V') and the like. With
--json one object per line: {"operation":...}. 'ksrbac operations' lists what
checks on this host know, with permission bits, and asks nobody.

Exit status: 0 listed, 2 usage error, 3 the service could not be asked or
refused: its message is told, 4 standard output could not be written.)";

constexpr char OPERATION_LIST_FOOTER[] = R"help(Examples:
  ksrbac operation list
  ksrbac operation list --filter "startswith(id,'|OPERATIONS|VIEW')")help";

void addObjectName(CLI::App& command, std::string& object)
{
    command.add_option("NS", object, "Namespace of the object")->type_name("NS")->required();
}

} // namespace

void OptionTree::addObject()
{
    CLI::App* object = addCommand(app_, "object", "Manage the objects of the service.", OBJECT_FOOTER);
    object->require_subcommand(1);

    CLI::App* get = addCommand(*object, "get", GET_DESCRIPTION, GET_FOOTER);
    addObjectName(*get, service_.objectGet.object);
    get->callback([this] { parsed_.command = ServiceCommand(service_.objectGet); });

    CLI::App* set = addCommand(*object, "set-inherit", SET_INHERIT_DESCRIPTION, SET_INHERIT_FOOTER);
    addObjectName(*set, service_.objectSetInherit.object);
    set->add_option("INHERIT", service_.objectSetInherit.inherit, "on or off")
        ->type_name(value_name::SWITCH)
        ->required();
    set->callback([this] { parsed_.command = ServiceCommand(service_.objectSetInherit); });

    addRegistration(*object);
}

void OptionTree::addAccess()
{
    CLI::App* access = addCommand(app_, "access", "Manage the access definitions of objects.", ACCESS_FOOTER);
    access->require_subcommand(1);

    CLI::App* list = addCommand(*access, "list", LIST_DESCRIPTION, LIST_FOOTER);
    addObjectName(*list, service_.accessList.object);
    list->callback([this] { parsed_.command = ServiceCommand(service_.accessList); });

    CLI::App* add = addCommand(*access, "add", ADD_DESCRIPTION, ADD_FOOTER);
    addObjectName(*add, service_.accessAdd.object);
    add->add_option("--role", service_.accessAdd.role, "Id of the role")->type_name("ID")->required();
    add->add_option("--operations", service_.accessAdd.operations, "Namespaces of the operations")
        ->type_name("NS,...")
        ->required();
    add->add_option("--propagation", service_.accessAdd.propagation,
                    "OBJECT, CHILDREN (all that lies below it) or\nOBJECT_AND_CHILDREN; without it OBJECT")
        ->type_name(value_name::PROPAGATION);
    add->callback([this] { parsed_.command = ServiceCommand(service_.accessAdd); });

    CLI::App* remove = addCommand(*access, "delete", DELETE_DESCRIPTION, DELETE_FOOTER);
    addObjectName(*remove, service_.accessDelete.object);
    remove->add_option("ID", service_.accessDelete.id, "Id of the access definition")
        ->type_name("ID")
        ->required();
    remove->callback([this] { parsed_.command = ServiceCommand(service_.accessDelete); });
}

void OptionTree::addOperation()
{
    CLI::App* operation = addCommand(app_, "operation", "Ask the service for operations.", OPERATION_FOOTER);
    operation->require_subcommand(1);

    CLI::App* list = addCommand(*operation, "list", OPERATION_LIST_DESCRIPTION, OPERATION_LIST_FOOTER);
    list->add_option("--filter", service_.operationList.filter,
                     "Only operations that the expression is true of")
        ->type_name("EXPR");
    list->callback([this] { parsed_.command = ServiceCommand(service_.operationList); });
}

} // namespace ksrbac
