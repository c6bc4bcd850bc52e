#include "policy/policy_reader.h"

#include <limits>
#include <map>
#include <set>

#include <boost/lexical_cast.hpp>

#include "errors/InputError.h"
#include "fault_text.h"
#include "input/read_input.h"
#include "load.h"
#include "json/Element.h"
#include "json/json_text.h"

namespace keepsafe_sandbox {

using keepsafe_service::Element;
using keepsafe_service::InputError;
using keepsafe_service::parseNamespace;
using keepsafe_service::quoted;
using Tessara::Keepsafe::JsonHandle;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::Propagation;

namespace {

class PolicyReader {
public:
    explicit PolicyReader(const ObjectNamespace& covers) : covers_(covers) {}

    Policy read(const Element& document) &&
    {
        document.expectObject({"operations", "roles", "objects", "accessDefinitions"});
        readOperations(document.member("operations"));
        readRoles(document.member("roles"));
        readObjects(document.member("objects"));
        for (const Element& definition : document.member("accessDefinitions").items()) {
            policy_.accessDefinitions.push_back(readAccessDefinition(definition));
        }
        return std::move(policy_);
    }

private:
    void readOperations(const Element& operations)
    {
        std::map<std::int32_t, ObjectNamespace> owners;
        for (const auto& [name, element] : operations.entries()) {
            ObjectNamespace operation;
            if (!parseNamespace(name, operation)) {
                element.fail("the operation is not a namespace");
            }
            const std::int32_t bit = element.integer(0);
            const auto [owner, isFree] = owners.emplace(bit, operation);
            if (!isFree) {
                element.fail("bit " + std::to_string(bit) + " is that of " + owner->second.str() +
                             " already");
            }
            if (!policy_.operations.emplace(operation, bit).second) {
                element.fail("operation " + operation.str() + " is given twice");
            }
        }
    }

    void readRoles(const Element& roles)
    {
        for (const Element& element : roles.items()) {
            element.expectObject({"id", "name"});
            const Element id = element.member("id");
            const PolicyRole role = {id.integer(std::numeric_limits<std::int32_t>::min()),
                                     element.member("name").text()};
            const auto [first, isNew] = roleIndex_.emplace(role.id, policy_.roles.size());
            if (!isNew) {
                id.fail("role " + std::to_string(role.id) + " is given twice, first in roles[" +
                        std::to_string(first->second) + "]");
            }
            policy_.roles.push_back(role);
        }
    }

    void readObjects(const Element& objects)
    {
        for (const Element& element : objects.items()) {
            element.expectObject({"namespace", "inherit"});
            const Element name = element.member("namespace");
            const ObjectNamespace ns = name.objectNamespace();
            const bool inherit = !element.hasMember("inherit") || element.member("inherit").boolean();
            const auto [first, isNew] = objectIndex_.emplace(ns, policy_.objects.size());
            if (!isNew) {
                name.fail("object " + ns.str() + " is given twice, first in objects[" +
                          std::to_string(first->second) + "]");
            }
            if (!covers_.is_ancestor_of(ns)) {
                name.fail("object " + ns.str() + " does not lie under " + covers_.str() +
                          ", which the cache covers");
            }
            policy_.objects.push_back({ns, inherit});
        }
    }

    AccessDefinition readAccessDefinition(const Element& element)
    {
        element.expectObject({"object", "role", "propagation", "operations"});
        AccessDefinition definition = {};
        const Element object = element.member("object");
        const auto found = objectIndex_.find(object.objectNamespace());
        if (found == objectIndex_.end()) {
            object.fail("object " + object.text() + " is not among the objects");
        }
        definition.object = found->second;
        const Element role = element.member("role");
        definition.roleId = role.integer(std::numeric_limits<std::int32_t>::min());
        if (roleIndex_.count(definition.roleId) == 0) {
            role.fail("role " + std::to_string(definition.roleId) + " is not among the roles");
        }
        definition.propagation = readPropagation(element.member("propagation"));
        for (const Element& operation : element.member("operations").items()) {
            definition.operations.push_back(readOperation(operation));
        }
        return definition;
    }

    static Propagation readPropagation(const Element& element)
    {
        const std::string name = element.text();
        Propagation propagation;
        if (!boost::conversion::try_lexical_convert(name, propagation)) {
            element.fail(quoted(name) + " is none of OBJECT, CHILDREN, OBJECT_AND_CHILDREN");
        }
        return propagation;
    }

    Operation readOperation(const Element& element) const
    {
        const auto found = policy_.operations.find(element.objectNamespace());
        if (found == policy_.operations.end()) {
            element.fail("operation " + element.text() + " is not among the operations");
        }
        return Operation{found->second};
    }

    const ObjectNamespace& covers_;
    Policy policy_;
    std::map<std::int32_t, std::size_t> roleIndex_;
    std::map<ObjectNamespace, std::size_t> objectIndex_;
};

} // namespace

Policy readPolicy(const std::string& document, const ObjectNamespace& covers)
{
    json_error_t error;
    const JsonHandle root = Tessara::Keepsafe::loadJson(document, error, JSON_REJECT_DUPLICATES,
                                                        Tessara::Keepsafe::JsonBounds::ofAnySize());
    if (root == nullptr) {
        throw InputError(Tessara::Keepsafe::faultText(error));
    }
    return PolicyReader(covers).read(Element(root.get()));
}

Policy readPolicyFile(const std::string& path, const ObjectNamespace& covers)
{
    const std::string document = readInput(path, MOST_POLICY_BYTES);
    try {
        return readPolicy(document, covers);
    } catch (const InputError& error) {
        throw InputError(inputName(path) + ": " + error.what());
    }
}

} // namespace keepsafe_sandbox
