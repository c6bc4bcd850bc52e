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

struct Definition : Rbac::AccessDefinition {
    const std::string* roleName; ///< null: not known
};

std::string propagationOf(const Definition& definition)
{
    return boost::lexical_cast<std::string>(definition.propagation);
}

std::string roleNameOf(const Definition& definition)
{
    return definition.roleName == nullptr
               ? ""
               : escapeForMessage(*definition.roleName, definition.roleName->size());
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
    JsonObject json;
    json.add("id", definition.id)
        .add("object", definition.managedObject.str())
        .add("roleId", std::int64_t{definition.roleId});
    if (definition.roleName != nullptr) {
        json.add("roleName", *definition.roleName);
    }
    return json.add("propagation", propagationOf(definition)).addJson("operations", operations.text());
}

} // namespace

void printAccessDefinitions(const std::list<Rbac::AccessDefinition>& definitions, RoleNames& names, bool json,
                            Console& console)
{
    if (!definitions.empty()) {
        names.askIfPossible(console);
    }
    std::list<Definition> named;
    for (const Rbac::AccessDefinition& definition : definitions) {
        named.push_back({definition, names.nameOf(definition.roleId)});
    }
    const Listing<Definition> listing{
        {{"ID", Align::Right, [](const Definition& definition) { return escapeForMessage(definition.id); }},
         {"ROLE", Align::Right,
          [](const Definition& definition) { return std::to_string(definition.roleId); }},
         {"NAME", Align::Left, roleNameOf},
         {"PROPAGATION", Align::Left, propagationOf},
         {"OPERATIONS", Align::Left, joinedOperations}},
        toJson};
    listing.print(named, json, console);
}

} // namespace ksrbac
