#include <set>

#include <boost/make_shared.hpp>

#include <gtest/gtest.h>

#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include "cachewriter/CachePublisher.h"
#include "files/PosixFileSystem.h"
#include "service/support/RandomCache.h"
#include "support/AccessModel.h"
#include "support/TempDir.h"

/// Random caches, written by this writer and asked through the library, answer like plain maps and sets.

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

TEST(WrittenCache, AnswersLikePlainMapsAndSets)
{
    constexpr unsigned caches = 20;
    constexpr unsigned questions = 1000;
    const TempDir dir;
    keepsafe_service::PosixFileSystem fileSystem;
    unsigned allowed = 0;
    for (unsigned seed = 0; seed < caches; ++seed) {
        RandomCache random(seed);
        const AccessModel model = random.model();
        // One directory for all: each cache is written over the one before.
        keepsafe_service::CachePublisher(fileSystem)
            .publish(dir.path("c"), ObjectNamespace(), imageOf(model));
        const auto cache = boost::make_shared<const AccessCache>(Manifest("id", dir.path("c")));
        for (unsigned question = 0; question < questions; ++question) {
            const std::set<int> roles = random.roleSet();
            const std::int32_t bit = random.bit();
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
} // namespace keepsafe_test
