#include <list>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <string>

#include <boost/shared_ptr.hpp>
#include <jansson.h>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/access_definitions.h"
#include "commands/commands.h"
#include "output/escape.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

using Definition = Rbac::AccessDefinition;

constexpr char DESCRIPTION[] =
    R"(Grant operations on a managed object to a role.

Prints the new access definition as 'ksrbac access list' does. Operations are
separated by commas; a comma that is part of a name is written %2C. Without
--propagation the grant covers only the object itself.

When the object has an equal access definition already - the same role,
operations and propagation -, a message names it: the service keeps both, and
each has to be deleted. With --if-absent none is added then, and the existing
one is printed; when another client adds an equal one at the same time, the
later one is withdrawn.

Exit status: 0 granted, 2 usage error, 3 the service could not be reached or
refused: its message is printed; when the connection broke after the request was
sent, the grant may have been made, 4 standard output could not be written: the
grant is made.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac access add '|KEEPSAFE|ASSETS|' --role 'Restore operator' \
    --operations '|OPERATIONS|VIEW|,|OPERATIONS|RESTORE|' \
    --propagation OBJECT_AND_CHILDREN
  ksrbac access add '|KEEPSAFE|ASSETS|' --role 17 \
    --operations '|OPERATIONS|VIEW|' --if-absent)";

struct Options {
    std::string object;
    std::string role;
    std::string operations;
    std::string propagation = "OBJECT";
    bool ifAbsent = false;
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

std::set<Rbac::ObjectNamespace> asSet(const std::list<Rbac::ObjectNamespace>& operations)
{
    return {operations.begin(), operations.end()};
}

/// `request` is given the client to ask with.
template <typename Request>
auto ask(const Rbac::ObjectNamespace& object, const Request& request)
{
    return askService("access add " + object.str(), [&] { return request(Rbac::ManagedObjectAPI()); });
}

/// The grant that is asked for, and the requests that it takes.
class GrantRequest {
public:
    GrantRequest(const Options& options, RoleNames& names)
        : object_(parseNamespace("NS", options.object)),
          operations_(parseNamespaces("--operations", options.operations)),
          propagation_(parsePropagation("--propagation", options.propagation))
    {
        role_.id = readServiceRole(names, "--role", options.role);
    }

    [[nodiscard]] Definition add() const
    {
        return ask(object_, [this](const Rbac::ManagedObjectAPI& api) {
            return api.add_access_definition(object_, role_, propagation_, references(operations_));
        });
    }

    /// The oldest access definition of the object that says the same.
    [[nodiscard]] std::optional<Definition> find() const
    {
        const auto wanted = asSet(operations_);
        const auto definitions = ask(object_, [this](const Rbac::ManagedObjectAPI& api) {
            return api.get_access_definitions(object_);
        });
        for (const Definition& definition : definitions) {
            if (definition.roleId == role_.id && definition.propagation == propagation_ &&
                asSet(definition.operations) == wanted) {
                return definition;
            }
        }
        return std::nullopt;
    }

    /// The same, if the service says so.
    [[nodiscard]] std::optional<Definition> tryToFind() const
    try {
        return find();
    } catch (const ServiceError&) {
        return std::nullopt;
    }

    [[nodiscard]] bool withdraw(const Definition& definition) const
    try {
        return ask(object_, [&](const Rbac::ManagedObjectAPI& api) {
            api.delete_access_definition_by_id(object_, requirePathPart("ID", definition.id));
            return true;
        });
    } catch (const ServiceError&) {
        return false;
    }

private:
    Rbac::ObjectNamespace object_;
    Rbac::Role role_;
    std::list<Rbac::ObjectNamespace> operations_;
    Rbac::Propagation propagation_;
};

/// Of clients that add the same at the same time all but the first withdraw theirs, and look again: the first
/// one may be gone by then.
Definition addIfAbsent(const GrantRequest& grant)
{
    constexpr int MOST_ATTEMPTS = 3;
    for (int attempt = 1;; ++attempt) {
        if (const std::optional<Definition> there = grant.find()) {
            return *there;
        }
        Definition added = grant.add();
        const std::optional<Definition> oldest = grant.tryToFind();
        if (!oldest || oldest->id == added.id || attempt == MOST_ATTEMPTS || !grant.withdraw(added)) {
            return added;
        }
    }
}

ExitStatus run(const Options& options, bool json, Console& console)
{
    RoleNames names("access add");
    const GrantRequest grant(options, names);
    if (options.ifAbsent) {
        printAccessDefinitions({addIfAbsent(grant)}, names, json, console);
        return ExitStatus::Good;
    }
    const Definition added = grant.add();
    printAccessDefinitions({added}, names, json, console);
    const std::optional<Definition> oldest = grant.tryToFind();
    if (oldest && oldest->id != added.id) {
        console.complain("an equal access definition is there already: " + escapeForMessage(oldest->id) +
                         "; --if-absent adds none then");
    }
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
    addFlag(command, "--if-absent", options->ifAbsent, "Add nothing when there is an equal one already");
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
