#include <random>
#include <set>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>

#include <gtest/gtest.h>

#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include "cachewriter/CachePublisher.h"
#include "cachewriter/ImageBuilder.h"
#include "cachewriter/PosixFileSystem.h"
#include "support/AccessModel.h"
#include "support/TempDir.h"

/// Random caches, written by this writer and asked through the library, answer like plain maps and sets.

namespace {

using keepsafe_test::AccessModel;
using keepsafe_test::ModelObject;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

const std::vector<std::string> COMPONENTS = {"",    "a", "ab",   "abc",      "abcd",   "abcde", "a b",
                                             "a|b", "%", "\xFF", "\x80\x80", "kind-1", "vm-7",  "~"};
const std::vector<std::int32_t> ROLES = {-2147483647 - 1, -5, 1, 2, 3, 17, 2147483647};
const std::vector<std::int32_t> BITS = {0, 1, 31, 32, 37, 64, 1000, 2147483647, -1, -2147483647 - 1};

class RandomCache {
public:
    explicit RandomCache(unsigned seed) : random_(seed) {}

    template <typename Value>
    const Value& pick(const std::vector<Value>& values)
    {
        return values[random_() % values.size()];
    }

    ObjectNamespace name()
    {
        ObjectNamespace ns;
        for (auto depth = random_() % 5; depth != 0; --depth) {
            ns = ns | pick(COMPONENTS);
        }
        return ns;
    }

    std::set<int> roleSet()
    {
        std::set<int> roles;
        for (auto count = random_() % 4; count != 0; --count) {
            roles.insert(pick(ROLES));
        }
        return roles;
    }

    AccessModel model()
    {
        AccessModel model;
        for (auto objects = random_() % 200; objects != 0; --objects) {
            ModelObject object;
            object.inherit = random_() % 4 != 0;
            for (auto grants = random_() % 4; grants != 0; --grants) {
                (random_() % 2 == 0 ? object.own : object.children)[pick(ROLES)].insert(pick(BITS));
            }
            model.objects[name()] = object;
        }
        return model;
    }

private:
    std::mt19937 random_;
};

keepsafe_sandbox::Grants grantsOf(const keepsafe_test::Grants& bits)
{
    keepsafe_sandbox::Grants grants;
    for (const auto& [roleId, offsets] : bits) {
        for (const std::int32_t offset : offsets) {
            grants.add(roleId, Operation{offset});
        }
    }
    return grants;
}

keepsafe_sandbox::CacheImage imageOf(const AccessModel& model)
{
    keepsafe_sandbox::ImageBuilder builder;
    for (const auto& [ns, object] : model.objects) {
        builder.add({ns, object.inherit, grantsOf(object.own), grantsOf(object.children), 0});
    }
    return std::move(builder).build();
}

TEST(WrittenCache, AnswersLikePlainMapsAndSets)
{
    constexpr unsigned caches = 20;
    constexpr unsigned questions = 1000;
    const keepsafe_test::TempDir dir;
    keepsafe_sandbox::PosixFileSystem fileSystem;
    unsigned allowed = 0;
    for (unsigned seed = 0; seed < caches; ++seed) {
        RandomCache random(seed);
        const AccessModel model = random.model();
        // One directory for all: each cache is written over the one before.
        keepsafe_sandbox::CachePublisher(fileSystem)
            .publish(dir.path("c"), ObjectNamespace(), imageOf(model));
        const auto cache = boost::make_shared<const AccessCache>(Manifest("id", dir.path("c")));
        for (unsigned question = 0; question < questions; ++question) {
            const std::set<int> roles = random.roleSet();
            const std::int32_t bit = random.pick(BITS);
            const ObjectNamespace object = random.name();
            const bool expected = model.isAllowed(roles, bit, object);
            ASSERT_EQ(DiskAccessChecker(cache, roles, Operation{bit}, 0).checkAccess(object), expected)
                << object.str() << ", bit " << bit << ", seed " << seed << ", question " << question;
            allowed += expected ? 1 : 0;
        }
    }
    EXPECT_GT(allowed, caches * questions / 100) << "both answers occur";
}

} // namespace
