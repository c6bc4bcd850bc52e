#include <list>
#include <memory>
#include <new>
#include <string>

#include <boost/shared_ptr.hpp>
#include <jansson.h>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/access_definitions.h"
#include "commands/commands.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Grant operations on a managed object to a role.

Prints the new access definition as 'ksrbac access list' does. Operations are
separated by commas; a comma that is part of a name is written %2C. Without
--propagation the grant covers only the object itself.

Exit status: 0 granted, 2 usage error, 3 the service could not be reached or
refused: its message is printed; when the connection broke after the request was
sent, the grant may have been made, 4 standard output could not be written: the
grant is made.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac access add '|KEEPSAFE|ASSETS|' --role 'Restore operator' \
    --operations '|OPERATIONS|VIEW|,|OPERATIONS|RESTORE|' \
    --propagation OBJECT_AND_CHILDREN)";

struct Options {
    std::string object;
    std::string role;
    std::string operations;
    std::string propagation = "OBJECT";
};

/// In the form that the library requires: an array of references.
boost::shared_ptr<json_t> references(const std::list<Rbac::ObjectNamespace>& operations)
{
    boost::shared_ptr<json_t> array = Rbac::json_array_shared();
    for (const Rbac::ObjectNamespace& operation : operations) {
        const boost::shared_ptr<json_t> reference = Rbac::json_pack_shared(
            "{s:s, s:s}", "id", operation.str().c_str(), "type", "accessControlOperation");
        if (json_array_append(array.get(), reference.get()) != 0) {
            throw std::bad_alloc();
        }
    }
    return array;
}

ExitStatus run(const Options& options, bool json, Console& console)
{
    const Rbac::ObjectNamespace object = parseNamespace("NS", options.object);
    const auto operations = references(parseNamespaces("--operations", options.operations));
    const Rbac::Propagation propagation = parsePropagation("--propagation", options.propagation);
    RoleNames names("access add");
    Rbac::Role role;
    role.id = readServiceRole(names, "--role", options.role);
    const auto definition = askService("access add " + object.str(), [&] {
        return Rbac::ManagedObjectAPI().add_access_definition(object, role, propagation, operations);
    });
    printAccessDefinitions({definition}, names, json, console);
    return ExitStatus::Good;
}

} // namespace

Action addAccessAdd(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addObject(command, options->object);
    addRequired(command, "--role", options->role, value_name::ROLE, "Id or name of the role");
    addRequired(command, "--operations", options->operations, value_name::OPERATIONS,
                "Namespaces of the operations");
    addOptional(command, "--propagation", options->propagation, value_name::PROPAGATION,
                "OBJECT, CHILDREN (everything below it) or\nOBJECT_AND_CHILDREN; without it OBJECT");
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
