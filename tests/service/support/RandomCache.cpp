#include "service/support/RandomCache.h"

#include <string>
#include <utility>
#include <vector>

#include <keepsafe/cache/Operation.h>

namespace keepsafe_test {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

namespace {

const std::vector<std::string> COMPONENTS = {"",    "a", "ab",   "abc",      "abcd",   "abcde", "a b",
                                             "a|b", "%", "\xFF", "\x80\x80", "kind-1", "vm-7",  "~"};
const std::vector<std::int32_t> ROLES = {-2147483647 - 1, -5, 1, 2, 3, 17, 2147483647};
const std::vector<std::int32_t> BITS = {0, 1, 31, 32, 37, 64, 1000, 2147483647, -1, -2147483647 - 1};

template <typename Value>
const Value& pick(std::mt19937& random, const std::vector<Value>& values)
{
    return values[random() % values.size()];
}

keepsafe_service::Grants grantsOf(const Grants& bits)
{
    keepsafe_service::Grants grants;
    for (const auto& [roleId, offsets] : bits) {
        for (const std::int32_t offset : offsets) {
            grants.add(roleId, Operation{offset});
        }
    }
    return grants;
}

} // namespace

ObjectNamespace RandomCache::name()
{
    ObjectNamespace ns;
    for (unsigned depth = below(5); depth != 0; --depth) {
        ns = ns | pick(random_, COMPONENTS);
    }
    return ns;
}

std::int32_t RandomCache::bit() { return pick(random_, BITS); }

std::set<int> RandomCache::roleSet()
{
    std::set<int> roles;
    for (unsigned count = below(4); count != 0; --count) {
        roles.insert(pick(random_, ROLES));
    }
    return roles;
}

ModelObject RandomCache::object()
{
    ModelObject object;
    object.inherit = below(4) != 0;
    for (unsigned grants = below(4); grants != 0; --grants) {
        (below(2) == 0 ? object.own : object.children)[pick(random_, ROLES)].insert(bit());
    }
    return object;
}

AccessModel RandomCache::model()
{
    AccessModel model;
    for (unsigned objects = below(200); objects != 0; --objects) {
        const ModelObject drawn = object();
        model.objects[name()] = drawn;
    }
    return model;
}

keepsafe_service::CacheObject cacheObject(const ObjectNamespace& ns, const ModelObject& object)
{
    return {ns, object.inherit, grantsOf(object.own), grantsOf(object.children), 0};
}

keepsafe_service::CacheImage imageOf(const AccessModel& model)
{
    keepsafe_service::ImageBuilder builder;
    for (const auto& [ns, object] : model.objects) {
        builder.add(cacheObject(ns, object));
    }
    return std::move(builder).build();
}

} // namespace keepsafe_test
