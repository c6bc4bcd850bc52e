#include "commands/access_definitions.h"

#include <cstdint>
#include <string>

#include <boost/lexical_cast.hpp>

#include "output/Listing.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

using Align = TextTable::Align;
using Definition = Rbac::AccessDefinition;

std::string propagationOf(const Definition& definition)
{
    return boost::lexical_cast<std::string>(definition.propagation);
}

/// In the form that --operations takes.
std::string joinedOperations(const Definition& definition)
{
    std::string text;
    for (const Rbac::ObjectNamespace& operation : definition.operations) {
        text += (text.empty() ? "" : ",") + operation.str();
    }
    return text;
}

JsonObject toJson(const Definition& definition)
{
    JsonArray operations;
    for (const Rbac::ObjectNamespace& operation : definition.operations) {
        operations.addJson(jsonString(operation.str()));
    }
    return JsonObject()
        .add("id", definition.id)
        .add("object", definition.managedObject.str())
        .add("roleId", std::int64_t{definition.roleId})
        .add("propagation", propagationOf(definition))
        .addJson("operations", operations.text());
}

} // namespace

void printAccessDefinitions(const std::list<Definition>& definitions, bool json, Console& console)
{
    const Listing<Definition> listing{
        {{"ID", Align::Right, [](const Definition& definition) { return escapeForMessage(definition.id); }},
         {"ROLE", Align::Right,
          [](const Definition& definition) { return std::to_string(definition.roleId); }},
         {"PROPAGATION", Align::Left, propagationOf},
         {"OPERATIONS", Align::Left, joinedOperations}},
        toJson};
    listing.print(definitions, json, console);
}

} // namespace ksrbac
