#include "cli/option_tree.h"

// The commands that register objects and take them back.

namespace ksrbac {

namespace {

constexpr char REGISTER_DESCRIPTION[] =
    R"(Register a managed object, or many.

In two phases: the object becomes PENDING, in which state it grants nothing; the
program of --exec does what belongs to it; then the object is READY with its
grants if the program ended with status 0, and gone if not. Without --exec the
second phase follows at once. Prints nothing itself.

--exec CMD runs the program CMD without a shell, with the arguments behind "--",
the standard descriptors of ksrbac, and the object's namespace in the environment
variable KSRBAC_OBJECT. A status other than 0, a signal that ends it, and a
program that cannot be started are failures.

--grant ROLE:OP,...[:PROPAGATION] grants operations to a role; without a
propagation on the object alone. A colon or comma in a name is written %3A or
%2C.

--bulk FILE registers the objects in a JSON file, all or none in the first phase:
an array of {"namespace":...,"type":...,"children":[...],"inherit":...,
"grants":[{"role":...,"operations":[...],"propagation":...}],
"ignoreRegistered":...}; namespace and type are needed, and role and operations
in a grant. With --exec the program is run for one object after the other, and
each is committed or rolled back by its own.

SIGINT, SIGQUIT, SIGTERM and SIGHUP do not end ksrbac between the phases: they
go to the program, no other is started, and what is not done is rolled back.

Exit status: 0 registered, 2 usage error, or a file that is malformed or cannot
be read, 3 the library reported a status: 8022 rolled back because the program
failed, 8024, 8025 and 8030 the second phase failed and objects may be left
PENDING, or what the service said to the first phase.)";

constexpr char REGISTER_FOOTER[] = R"(Examples:
  ksrbac object register '|KEEPSAFE|ASSETS|vms|vm-7|' --type VM --child '|disk-0|' \
    --grant '17:|OPERATIONS|VIEW|,|OPERATIONS|RESTORE|:OBJECT_AND_CHILDREN' \
    --exec mount -- /srv/vm-7
  ksrbac object register --bulk objects.json)";

constexpr char UNREGISTER_DESCRIPTION[] =
    R"(Take a managed object back.

In two phases: the object becomes PENDING, in which state it grants nothing; the
program of --exec does what belongs to it; then the object is gone with its
access definitions if the program ended with status 0, and READY again if not.
--exec and signals are as for 'ksrbac object register'. Prints nothing itself.

Exit status: 0 unregistered, 2 usage error, 3 the library reported a status:
8023 restored because the program failed, 8024 and 8025 the second phase failed
and the object may be left PENDING, or what the service said to the first phase.)";

constexpr char UNREGISTER_FOOTER[] = R"(Example:
  ksrbac object unregister '|KEEPSAFE|ASSETS|vms|vm-7|' --exec umount -- /srv/vm-7)";

void addExec(CLI::App& command, ExecOptions& exec)
{
    command
        .add_option("--exec", exec.program,
                    "Program to run between the phases; its\narguments stand at the end, behind --")
        ->type_name(value_name::PROGRAM);
}

/// An option that may be given several times, with one value each.
void addRepeated(CLI::App& command, const char* name, std::vector<std::string>& values, const char* valueName,
                 const char* description)
{
    command.add_option(name, values, description)->type_name(valueName)->allow_extra_args(false);
}

} // namespace

void OptionTree::addRegistration(CLI::App& object)
{
    ObjectRegisterOptions& options = service_.objectRegister;
    CLI::App* registering = addCommand(object, "register", REGISTER_DESCRIPTION, REGISTER_FOOTER);
    registering->add_option("NS", options.object, "Namespace of the object")->type_name("NS");
    registering->add_option("--type", options.type, "Type of the object; needed without --bulk")
        ->type_name("TYPE");
    addRepeated(*registering, "--child", options.children, "NS",
                "Namespace, relative to the object, of a child\nthat is registered with it; may be repeated");
    addRepeated(*registering, "--grant", options.grants, "GRANT",
                "ROLE:OPERATION,...[:PROPAGATION]; may be\nrepeated");
    registering->add_option("--inherit", options.inherit, "Whether grants on the objects above reach it")
        ->type_name(value_name::SWITCH);
    registering->add_flag("--ignore-registered", options.ignoreRegistered,
                          "An object that is registered already is no error");
    registering->add_option("--bulk", options.bulkFile, "Register the objects in a file; - is standard input")
        ->type_name(value_name::FILE_OR_STDIN);
    addExec(*registering, options.exec);
    registering->callback([this] { parsed_.command = ServiceCommand(service_.objectRegister); });

    CLI::App* unregistering = addCommand(object, "unregister", UNREGISTER_DESCRIPTION, UNREGISTER_FOOTER);
    unregistering->add_option("NS", service_.objectUnregister.object, "Namespace of the object")
        ->type_name("NS")
        ->required();
    addExec(*unregistering, service_.objectUnregister.exec);
    unregistering->callback([this] { parsed_.command = ServiceCommand(service_.objectUnregister); });
}

} // namespace ksrbac
