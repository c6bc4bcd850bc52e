#include <set>
#include <string>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include "cachewriter/CachePublisher.h"
#include "cachewriter/LiveCache.h"
#include "service/support/InterruptedFileSystem.h"
#include "service/support/RandomCache.h"
#include "support/AccessModel.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "verify/cache_report.h"

/// After any sequence of changes the published cache answers like plain maps and sets, and like a cache built
/// from scratch; and verification finds no fault in it.

namespace keepsafe_test {
namespace {

using keepsafe_service::CacheImage;
using keepsafe_service::CacheLocation;
using keepsafe_service::CachePublisher;
using keepsafe_service::LiveCache;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

constexpr unsigned ROUNDS = 40;
constexpr unsigned CHANGES = 60;
constexpr unsigned QUESTIONS = 300;

class LiveReference : public testing::TestWithParam<unsigned> {
protected:
    /// Rounds that mostly add take turns with rounds that mostly remove.
    void change(unsigned round)
    {
        for (unsigned changes = random_.below(CHANGES); changes != 0; --changes) {
            const ObjectNamespace name = random_.name();
            if (random_.below(10) < (round % 4 < 2 ? 8U : 2U)) {
                model_.objects[name] = random_.object();
                cache_.put(cacheObject(name, model_.objects[name]));
            } else {
                model_.objects.erase(name);
                cache_.remove(name);
            }
        }
    }

    static boost::shared_ptr<const AccessCache> open(const std::string& directory)
    {
        return boost::make_shared<const AccessCache>(Manifest("id", directory));
    }

    void expectEqualAnswers(const boost::shared_ptr<const AccessCache>& live,
                            const boost::shared_ptr<const AccessCache>& fromScratch)
    {
        for (unsigned question = 0; question < QUESTIONS; ++question) {
            const std::set<int> roles = random_.roleSet();
            const Operation operation{random_.bit()};
            const ObjectNamespace object = random_.name();
            const bool expected = model_.isAllowed(roles, operation.offset, object);
            ASSERT_EQ(DiskAccessChecker(live, roles, operation, 0).checkAccess(object), expected)
                << object.str() << ", bit " << operation.offset << ", question " << question;
            ASSERT_EQ(DiskAccessChecker(fromScratch, roles, operation, 0).checkAccess(object), expected);
            allowed_ += expected ? 1 : 0;
        }
    }

    void expectNoFault(const CacheImage& fromScratch)
    {
        ksrbac::FaultList faults(3);
        const ksrbac::CacheReport report = ksrbac::examineCache(location_.accessCache(), faults);
        EXPECT_EQ(faults.count(), 0U) << (faults.kept().empty() ? "" : faults.kept().front().what);
        EXPECT_EQ(report.objects.used, model_.objects.size());
        EXPECT_EQ(report.segments.used, fromScratch.segments.size() - 1) << "no way without a name is left";
        EXPECT_EQ(cache_.objectCount(), model_.objects.size());
    }

    TempDir dir_;
    CapturedLog log_{17};
    UnsyncedFileSystem fileSystem_;
    CacheLocation location_{dir_.path(), "live"};
    LiveCache cache_{fileSystem_, location_, ObjectNamespace()};
    AccessModel model_;
    RandomCache random_{GetParam()};
    unsigned allowed_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Seeds, LiveReference, testing::Range(0U, 4U));

TEST_P(LiveReference, AnswersAreThoseOfACacheFromScratch)
{
    cache_.publish({});
    const auto live = open(location_.accessCache());
    for (unsigned round = 0; round < ROUNDS; ++round) {
        change(round);
        cache_.publish({});
        const CacheImage image = imageOf(model_);
        CachePublisher(fileSystem_).publish(dir_.path("scratch"), ObjectNamespace(), image);

        ASSERT_NO_FATAL_FAILURE(expectEqualAnswers(live, open(dir_.path("scratch")))) << "round " << round;
        expectNoFault(image);
    }
    EXPECT_GT(allowed_, ROUNDS * QUESTIONS / 100) << "both answers occur";
}

} // namespace
} // namespace keepsafe_test
