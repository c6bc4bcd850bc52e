#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/commands.h"
#include "io/Progress.h"
#include "registration/ExecOptions.h"
#include "registration/ObjectRequest.h"
#include "registration/bulk_file.h"
#include "registration/register_through.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Register a managed object, or many.

There are two phases: the object becomes PENDING and grants nothing; the program
of --exec does the work that belongs to it; then the object is READY with its
grants if the program exited with status 0, and gone if not. Without --exec the
second phase follows at once. Prints nothing itself.

--exec CMD runs the program CMD without a shell, with the arguments after "--",
the standard descriptors of ksrbac, and the object's namespace in the environment
variable KSRBAC_OBJECT. A status other than 0, death by a signal, and a program
that cannot be started are failures.

--grant ROLE:OP,...[:PROPAGATION] grants operations to a role, by its id or its
name; without a propagation on the object alone. A colon or comma in a name is
written %3A or %2C.

--bulk FILE registers the objects in a JSON file, all or none in the first phase:
an array of {"namespace":...,"type":...,"children":[...],"inherit":...,
"grants":[{"role":...,"operations":[...],"propagation":...}],
"ignoreRegistered":...}; namespace and type are required, and in a grant role (an
id, or a name in quotes) and operations. With --exec the program runs for one
object after the other, and its outcome commits or rolls back that object.

SIGINT, SIGQUIT, SIGTERM and SIGHUP do not end ksrbac between the phases: they
go to the program, no other is started, and the remaining objects are rolled
back.

Exit status: 0 registered, 2 usage error, or a file that is malformed or cannot
be read, 3 the library reported a status: 8022 rolled back because the program
failed, 8024, 8025 and 8030 the second phase failed and objects may be left
PENDING, or the service's status for the first phase.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac object register '|KEEPSAFE|ASSETS|vms|vm-7|' --type VM --child '|disk-0|' \
    --grant '17:|OPERATIONS|VIEW|,|OPERATIONS|RESTORE|:OBJECT_AND_CHILDREN' \
    --exec mount -- /srv/vm-7
  ksrbac object register --bulk objects.json)";

struct Options {
    std::optional<std::string> object;
    std::optional<std::string> type;
    std::vector<std::string> children;
    std::vector<std::string> grants;
    std::optional<std::string> inherit;
    bool ignoreRegistered = false;
    std::optional<std::string> bulkFile; ///< in place of all of the above
    ExecOptions exec;
};

void requireConsistent(const Options& options)
{
    const bool isSingle = options.object || options.type || !options.children.empty() ||
                          !options.grants.empty() || options.inherit || options.ignoreRegistered;
    if (options.bulkFile && isSingle) {
        throw UsageError("object register: with --bulk the file says what there is to say of the objects");
    }
    if (!options.bulkFile && !(options.object && options.type)) {
        throw UsageError("object register: give NS and --type, or --bulk");
    }
}

ObjectRequest readRequest(const Options& options, RoleNames& names)
{
    ObjectRequest request;
    request.object = parseNamespace("NS", *options.object);
    request.type = requireText("--type", *options.type, std::string::npos);
    for (const std::string& child : options.children) {
        request.children.push_back(parseNamespace("--child", child));
    }
    for (const std::string& grant : options.grants) {
        request.grants.push_back(parseGrant("--grant", grant, names));
    }
    if (options.inherit) {
        request.inherit = parseSwitch("--inherit", *options.inherit);
    }
    request.ignoreRegistered = options.ignoreRegistered;
    return request;
}

void registerOne(const ObjectRequest& request, const Work& work)
{
    const auto data = registrationData(request);
    registerThrough("object register " + request.object.str(),
                    boost::make_shared<RegistrationCallback>(work, request.object),
                    [&](auto& service, const auto& callback, auto& cause) {
                        return service.registerObject(data, callback, cause);
                    });
}

void registerMany(const std::vector<ObjectRequest>& requests, const Work& work, Console& console)
{
    const std::string question = "object register --bulk";
    std::list<boost::shared_ptr<Rbac::ObjectRegistrationData>> data;
    BulkCallback::Objects objects;
    for (const ObjectRequest& request : requests) {
        data.push_back(registrationData(request));
        objects.push_back(request.object);
    }
    Progress progress(console, "worked on", "objects", requests.size());
    const auto tell = [&](const std::string& message) { console.complain(question + ": " + message); };
    registerThrough(question,
                    boost::make_shared<BulkCallback>(work, objects, tell, [&progress] { progress.add(); }),
                    [&](auto& service, const auto& callback, auto& cause) {
                        return service.bulkRegisterObjects(data, callback, cause);
                    });
}

ExitStatus run(const Options& options, Console& console)
{
    requireConsistent(options);
    RoleNames names("object register");
    const std::vector<ObjectRequest> requests =
        options.bulkFile ? readBulkFile(*options.bulkFile, names) : std::vector{readRequest(options, names)};
    const std::optional<Program> program = options.exec.program();
    SignalWatch signals;
    const Work work(program, signals);
    if (options.bulkFile) {
        registerMany(requests, work, console);
    } else {
        registerOne(requests.front(), work);
    }
    return ExitStatus::Good;
}

} // namespace

Action addObjectRegister(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addOptional(command, "NS", options->object, "NS", "Namespace of the object");
    addOptional(command, "--type", options->type, "TYPE", "Type of the object; needed without --bulk");
    addRepeated(command, "--child", options->children, "CHILD",
                "Namespace, relative to the object, of a child\nthat is registered with it; may be repeated");
    addRepeated(command, "--grant", options->grants, value_name::GRANT,
                "ROLE:OPERATION,...[:PROPAGATION]; may be\nrepeated");
    addOptional(command, "--inherit", options->inherit, value_name::SWITCH,
                "Whether grants on the objects above reach it");
    addFlag(command, "--ignore-registered", options->ignoreRegistered,
            "An object that is already registered is not an error");
    addOptional(command, "--bulk", options->bulkFile, value_name::FILE_OR_STDIN,
                "Register the objects in a file; - is standard input");
    options->exec.addTo(command);
    return {[options](bool /*json*/, Console& console) { return run(*options, console); },
            [options] { return options->exec.tail(); }};
}

} // namespace ksrbac
