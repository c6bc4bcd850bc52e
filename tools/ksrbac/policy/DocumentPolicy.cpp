#include "policy/DocumentPolicy.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>

#include "JsonPlace.h"
#include "cli/arguments.h"
#include "io/DocumentFaults.h"
#include "io/read_document.h"
#include "policy/role_bits.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr DocumentLimit LIMIT{std::size_t{1} << 31U, "2 GiB"};

using Place = Tessara::Keepsafe::JsonPlace<DocumentFaults>;

struct ObjectBits {
    bool inherits = true;
    RoleBits onObject;
    RoleBits onChildren;
};

class Reading {
public:
    explicit Reading(const OperationNames& host) : host_(host) {}

    std::map<std::string, ObjectBits> read(const Place& document) &&
    {
        document.expectObject({"operations", "roles", "objects", "accessDefinitions"});
        for (const auto& [name, bit] : document.member("operations").entries()) {
            readOperation(name, bit);
        }
        for (const Place& role : document.member("roles").items()) {
            role.expectObject({"id", "name"});
            roles_.insert(role.member("id").integer(std::numeric_limits<std::int32_t>::min()));
        }
        for (const Place& object : document.member("objects").items()) {
            readObject(object);
        }
        for (const Place& definition : document.member("accessDefinitions").items()) {
            readDefinition(definition);
        }
        return std::move(objects_);
    }

private:
    void readOperation(const std::string& text, const Place& place)
    {
        const std::string name = parseNamespace(place.place(), text).str();
        const std::int32_t bit = place.integer(0);
        const auto hostBit = host_.bits().find(name);
        const auto hostName = host_.names().find(bit);
        if (hostBit != host_.bits().end() ? hostBit->second != bit : hostName != host_.names().end()) {
            place.fail("bit " + std::to_string(bit) + " is not that of this host's operation cache");
        }
        if (!operations_.emplace(name, bit).second) {
            place.fail("operation " + name + " is given twice");
        }
    }

    void readObject(const Place& place)
    {
        place.expectObject({"namespace", "inherit"});
        const std::string name = place.member("namespace").objectNamespace().str();
        const auto inherit = place.optionalMember("inherit");
        if (!objects_.emplace(name, ObjectBits{!inherit || inherit->boolean(), {}, {}}).second) {
            place.fail("object " + name + " is given twice");
        }
    }

    void readDefinition(const Place& place)
    {
        place.expectObject({"object", "role", "propagation", "operations"});
        const std::string name = place.member("object").objectNamespace().str();
        const auto object = objects_.find(name);
        if (object == objects_.end()) {
            place.fail("object " + name + " is not among the objects");
        }
        const Place rolePlace = place.member("role");
        const std::int32_t role = rolePlace.integer(std::numeric_limits<std::int32_t>::min());
        if (roles_.count(role) == 0) {
            rolePlace.fail("role " + std::to_string(role) + " is not among the roles");
        }
        const Place propagationPlace = place.member("propagation");
        const auto propagation = parsePropagation(propagationPlace.place(), propagationPlace.text());
        for (const Place& operation : place.member("operations").items()) {
            const auto bit = operations_.find(operation.objectNamespace().str());
            if (bit == operations_.end()) {
                operation.fail("the operation is not among the operations");
            }
            if (propagation != Rbac::Propagation::CHILDREN) {
                object->second.onObject[role].insert(bit->second);
            }
            if (propagation != Rbac::Propagation::OBJECT) {
                object->second.onChildren[role].insert(bit->second);
            }
        }
    }

    const OperationNames& host_;
    std::map<std::string, std::int32_t> operations_;
    std::set<std::int32_t> roles_;
    std::map<std::string, ObjectBits> objects_;
};

} // namespace

DocumentPolicy::DocumentPolicy(const std::string& path, const OperationNames& operations)
{
    readDocument(path, LIMIT, [&](json_t* document) {
        for (auto& [name, object] : Reading(operations).read(Place(document))) {
            objects_.emplace(name, Rbac::GrantedObject{name, object.inherits, wordsOf(object.onObject),
                                                       wordsOf(object.onChildren)});
        }
    });
    next_ = objects_.begin();
}

bool DocumentPolicy::next(Rbac::GrantedObject& object)
{
    if (next_ == objects_.end()) {
        return false;
    }
    object = next_->second;
    ++next_;
    return true;
}

} // namespace ksrbac
