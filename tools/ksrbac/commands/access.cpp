#include <cstdint>
#include <list>
#include <string>

#include <boost/lexical_cast.hpp>
#include <boost/shared_ptr.hpp>
#include <jansson.h>

#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/api/Rbac2Json.h>

#include "cli/arguments.h"
#include "commands/service_commands.h"
#include "output/Json.h"
#include "output/TextTable.h"
#include "output/escape.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

std::string nameOf(Rbac::Propagation propagation) { return boost::lexical_cast<std::string>(propagation); }

/// In the form that --operations takes.
std::string joined(const std::list<Rbac::ObjectNamespace>& operations)
{
    std::string text;
    for (const Rbac::ObjectNamespace& operation : operations) {
        text += (text.empty() ? "" : ",") + operation.str();
    }
    return text;
}

std::string definitionsTable(const std::list<Rbac::AccessDefinition>& definitions)
{
    using Align = TextTable::Align;
    TextTable table({Align::Right, Align::Right, Align::Left, Align::Left});
    table.addRow({"ID", "ROLE", "PROPAGATION", "OPERATIONS"});
    for (const Rbac::AccessDefinition& definition : definitions) {
        table.addRow({escapeForMessage(definition.id), std::to_string(definition.roleId),
                      nameOf(definition.propagation), joined(definition.operations)});
    }
    return table.text();
}

std::string jsonLine(const Rbac::AccessDefinition& definition)
{
    JsonArray operations;
    for (const Rbac::ObjectNamespace& operation : definition.operations) {
        operations.addJson(jsonString(operation.str()));
    }
    return JsonObject()
               .add("id", definition.id)
               .add("object", definition.managedObject.str())
               .add("roleId", std::int64_t{definition.roleId})
               .add("propagation", nameOf(definition.propagation))
               .addJson("operations", operations.text())
               .text() +
           '\n';
}

void print(const std::list<Rbac::AccessDefinition>& definitions, bool json, Console& console)
{
    if (!json) {
        console.print(definitionsTable(definitions));
        return;
    }
    for (const Rbac::AccessDefinition& definition : definitions) {
        console.print(jsonLine(definition));
    }
}

/// As the library wants them: an array of references.
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

} // namespace

ExitStatus runAccessList(const AccessListOptions& options, bool json, Console& console)
{
    const Rbac::ObjectNamespace object = parseNamespace("NS", options.object);
    print(askService("access list " + object.str(),
                     [&] { return Rbac::ManagedObjectAPI().get_access_definitions(object); }),
          json, console);
    return ExitStatus::Good;
}

ExitStatus runAccessAdd(const AccessAddOptions& options, bool json, Console& console)
{
    const Rbac::ObjectNamespace object = parseNamespace("NS", options.object);
    Rbac::Role role;
    role.id = parseServiceRoleId("--role", options.role);
    const auto operations = references(parseNamespaces("--operations", options.operations));
    const Rbac::Propagation propagation = parsePropagation("--propagation", options.propagation);
    print({askService("access add " + object.str(),
                      [&] {
                          return Rbac::ManagedObjectAPI().add_access_definition(object, role, propagation,
                                                                                operations);
                      })},
          json, console);
    return ExitStatus::Good;
}

ExitStatus runAccessDelete(const AccessDeleteOptions& options)
{
    const Rbac::ObjectNamespace object = parseNamespace("NS", options.object);
    const std::string id = requirePathPart("ID", options.id);
    askService("access delete " + object.str() + ' ' + id,
               [&] { Rbac::ManagedObjectAPI().delete_access_definition_by_id(object, id); });
    return ExitStatus::Good;
}

} // namespace ksrbac
