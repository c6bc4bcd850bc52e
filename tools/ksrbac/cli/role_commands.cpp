#include "cli/option_tree.h"

namespace ksrbac {

namespace {

constexpr char ROLE_FOOTER[] = R"(Example:
  ksrbac role list)";

constexpr char LIST_DESCRIPTION[] =
    R"(List the roles of the access-control service.

Prints a table, or with --json one object per line: {"id":...,"name":...,
"description":...,"systemDefined":...}. A role that is system-defined belongs to
the product. The filter is the service's: name eq 'x', contains(name,'x') and
the like.

Exit status: 0 listed, 2 usage error, 3 the service could not be asked or
refused: its message is told, 4 standard output could not be written.)";

constexpr char LIST_FOOTER[] = R"help(Examples:
  ksrbac role list
  ksrbac role list --json --filter "contains(name,'operator')")help";

constexpr char GET_DESCRIPTION[] =
    R"(Show a role of the access-control service.

Prints it as 'ksrbac role list' does.

Exit status: 0 shown, 2 usage error, 3 the service could not be asked or
refused: its message is told, 4 standard output could not be written.)";

constexpr char GET_FOOTER[] = R"(Example:
  ksrbac role get 17)";

constexpr char CREATE_DESCRIPTION[] =
    R"(Create a role.

The service chooses its id. Prints the new role as 'ksrbac role list' does. A
name has at most 64 bytes, a description at most 256.

Exit status: 0 created, 2 usage error, 3 the service could not be asked or
refused: its message is told; when the connection broke after the request was
sent, the role may be there, 4 standard output could not be written: the role is
there.)";

constexpr char CREATE_FOOTER[] = R"(Example:
  ksrbac role create 'Restore operator' --description 'Restores assets')";

constexpr char UPDATE_DESCRIPTION[] =
    R"(Change the name or the description of a role.

Reads the role and sends it back changed; what is not given stays as it is. A
change that somebody else makes between the two requests is lost. A name has at
most 256 bytes, a description at most 256; an empty description takes the role's
description away. Prints nothing.

Exit status: 0 changed, 2 usage error, 3 the service could not be asked or
refused: its message is told; when the connection broke after the change was
sent, it may have been made.)";

constexpr char UPDATE_FOOTER[] = R"(Examples:
  ksrbac role update 17 --name 'Restore operators'
  ksrbac role update 17 --description='')";

constexpr char DELETE_DESCRIPTION[] =
    R"(Delete a role with its access definitions.

Prints nothing.

Exit status: 0 deleted, 2 usage error, 3 the service could not be asked or
refused: its message is told; when the connection broke after the request was
sent, the role may be gone.)";

constexpr char DELETE_FOOTER[] = R"(Example:
  ksrbac role delete 17)";

void addId(CLI::App& command, std::string& id)
{
    command.add_option("ID", id, "Id of the role")->type_name("ID")->required();
}

} // namespace

void OptionTree::addRole()
{
    CLI::App* role = addCommand(app_, "role", "Manage the roles of the service.", ROLE_FOOTER);
    role->require_subcommand(1);

    CLI::App* list = addCommand(*role, "list", LIST_DESCRIPTION, LIST_FOOTER);
    list->add_option("--filter", service_.roleList.filter, "Only roles that the expression is true of")
        ->type_name("EXPR");
    list->callback([this] { parsed_.command = ServiceCommand(service_.roleList); });

    CLI::App* get = addCommand(*role, "get", GET_DESCRIPTION, GET_FOOTER);
    addId(*get, service_.roleGet.id);
    get->callback([this] { parsed_.command = ServiceCommand(service_.roleGet); });

    CLI::App* create = addCommand(*role, "create", CREATE_DESCRIPTION, CREATE_FOOTER);
    create->add_option("NAME", service_.roleCreate.name, "Name of the role")->type_name("NAME")->required();
    create->add_option("--description", service_.roleCreate.description, "What the role is for")
        ->type_name("TEXT");
    create->callback([this] { parsed_.command = ServiceCommand(service_.roleCreate); });

    CLI::App* update = addCommand(*role, "update", UPDATE_DESCRIPTION, UPDATE_FOOTER);
    addId(*update, service_.roleUpdate.id);
    update->add_option("--name", service_.roleUpdate.name, "The new name")->type_name("NAME");
    update->add_option("--description", service_.roleUpdate.description, "The new description")
        ->type_name("TEXT");
    update->callback([this] { parsed_.command = ServiceCommand(service_.roleUpdate); });

    CLI::App* remove = addCommand(*role, "delete", DELETE_DESCRIPTION, DELETE_FOOTER);
    addId(*remove, service_.roleDelete.id);
    remove->callback([this] { parsed_.command = ServiceCommand(service_.roleDelete); });
}

} // namespace ksrbac
