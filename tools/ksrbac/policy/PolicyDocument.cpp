#include "policy/PolicyDocument.h"

#include <stdexcept>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "output/Json.h"
#include "policy/role_bits.h"

namespace ksrbac {

namespace {

void separate(std::string& list) { list += list.empty() ? "\n  " : ",\n  "; }

} // namespace

PolicyDocument::PolicyDocument(const OperationNames& operations, const RoleNames& roles) : roleNames_(roles)
{
    for (const auto& [bit, name] : operations.names()) {
        if (bit >= 0) { // no document can have others
            operations_.emplace(bit, name);
        }
    }
}

void PolicyDocument::add(const Tessara::Keepsafe::Rbac::GrantedObject& object)
{
    separate(objects_);
    objects_ += JsonObject().add("namespace", object.name).add("inherit", object.inherits).text();
    const ScopedRoleBits bits = bitsByScope(object);
    addDefinitions(object.name, "OBJECT_AND_CHILDREN", bits.both);
    addDefinitions(object.name, "OBJECT", bits.onObject);
    addDefinitions(object.name, "CHILDREN", bits.onChildren);
}

void PolicyDocument::addDefinitions(const std::string& object, const char* propagation,
                                    const std::map<std::int32_t, std::set<std::int32_t>>& grants)
{
    for (const auto& [role, bits] : grants) {
        roles_.insert(role);
        JsonArray operations;
        for (const std::int32_t bit : bits) {
            operations.addJson(jsonString(nameOf(bit)));
        }
        separate(definitions_);
        definitions_ += JsonObject()
                            .add("object", object)
                            .add("role", std::int64_t{role})
                            .add("propagation", propagation)
                            .addJson("operations", operations.text())
                            .text();
    }
}

std::string PolicyDocument::nameOf(std::int32_t bit)
{
    if (bit < 0) {
        throw std::runtime_error("bit " + std::to_string(bit) +
                                 " is granted, which no operation of a policy document can have");
    }
    const auto known = operations_.find(bit);
    if (known != operations_.end()) {
        return known->second;
    }
    using Tessara::Keepsafe::Rbac::ObjectNamespace;
    std::string name = ObjectNamespace("OPERATIONS", "BIT-" + std::to_string(bit)).str();
    operations_.emplace(bit, name);
    unknown_.emplace(bit, name);
    return name;
}

void PolicyDocument::print(Console& console) const
{
    std::string operations;
    for (const auto& [bit, name] : operations_) {
        separate(operations);
        operations += jsonString(name) + ": " + std::to_string(bit);
    }
    std::string roles;
    for (const std::int32_t role : roles_) {
        const std::string* const known = roleNames_.nameOf(role);
        const std::string name = known != nullptr ? *known : "role " + std::to_string(role);
        separate(roles);
        roles += JsonObject().add("id", std::int64_t{role}).add("name", name).text();
    }
    console.print("{\n\"operations\": {" + operations + "\n},\n\"roles\": [" + roles +
                  "\n],\n\"objects\": [");
    console.print(objects_);
    console.print("\n],\n\"accessDefinitions\": [");
    console.print(definitions_);
    console.print("\n]\n}\n");
}

} // namespace ksrbac
