// Pages, cursors and counts while another process publishes change after change.

#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/questions/reachable_objects.h>

#include "cachewriter/LiveCache.h"
#include "service/support/InterruptedFileSystem.h"
#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::CacheLocation;
using keepsafe_service::CacheObject;
using keepsafe_service::LiveCache;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessControlClient;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::OperationCache;
using Tessara::Keepsafe::Rbac::ReachableObjects;
using Tessara::Keepsafe::Rbac::ReachablePage;
using Tessara::Keepsafe::Rbac::WalkLocking;

constexpr int ROLE = 7;
constexpr Operation VIEW{33};
constexpr unsigned STAYING = 40;
constexpr unsigned HOLDERS = 8;
constexpr unsigned WRITES = 300;
const ObjectNamespace OPERATION("OPERATIONS", "VIEW");
const ObjectNamespace OBJECTS("OBJECTS");
const ObjectNamespace WANDERING("WANDERING");
const ObjectNamespace THE_END("THE END");

CacheObject objectOf(const ObjectNamespace& ns, bool isGranted)
{
    CacheObject object;
    object.ns = ns;
    if (isGranted) {
        object.own.add(ROLE, VIEW);
    }
    return object;
}

ObjectNamespace numbered(const ObjectNamespace& above, const std::string& name, unsigned number)
{
    return above | (name + std::to_string(number));
}

/// What a reader in another process sees.
class Pager {
public:
    explicit Pager(const std::string& directory)
        : client_(ObjectNamespace(), boost::make_shared<const AccessCache>(Manifest("live", directory)),
                  operations_),
          reachable_(client_, {ROLE}, OPERATION)
    {
    }

    /// Asks until the writer has come to its end. 0, or the number of what was wrong.
    int watch()
    {
        while (reachable_.count(THE_END, "") == 0) {
            if (!pagesHoldWhatStays()) {
                return 1;
            }
            // One state each: the grant is always at exactly one of them.
            if (reachable_.count(WANDERING, "", WalkLocking::OneState) != 1) {
                return 2;
            }
            if (reachable_.page(WANDERING, "", HOLDERS).names.size() != 1) {
                return 3;
            }
        }
        return 0;
    }

private:
    /// Every object that stays is on exactly one page, those that are denied on none, and names ascend.
    bool pagesHoldWhatStays()
    {
        std::string after;
        std::string last;
        unsigned stayed = 0;
        do {
            const ReachablePage page = reachable_.page(OBJECTS, after, 7);
            for (const std::string& name : page.names) {
                if (name <= last || name.find("denied") != std::string::npos) {
                    return false;
                }
                stayed += name.find("stays") != std::string::npos ? 1 : 0;
                last = name;
            }
            after = page.cursor;
        } while (!after.empty());
        return stayed == STAYING;
    }

    OperationCache operations_;
    DiskAccessControlClient client_;
    ReachableObjects reachable_;
};

class ReachableLive : public testing::Test {
protected:
    ReachableLive()
    {
        for (unsigned number = 0; number < STAYING; ++number) {
            cache_.put(objectOf(numbered(OBJECTS, "x", number) | "stays", true));
            cache_.put(objectOf(numbered(OBJECTS, "x", number) | "denied", false));
        }
        for (unsigned number = 0; number < HOLDERS; ++number) {
            cache_.put(objectOf(numbered(WANDERING, "holder", number), number == 0));
        }
        publish();
    }

    void publish() { cache_.publish({{OPERATION, VIEW.offset}}); }

    void publishManyChanges()
    {
        for (unsigned round = 0; round < WRITES; ++round) {
            cache_.put(objectOf(numbered(WANDERING, "holder", round % HOLDERS), false));
            cache_.put(objectOf(numbered(WANDERING, "holder", (round + 1) % HOLDERS), true));
            // Objects come and go between those that stay; so do the places that cursors name.
            cache_.put(objectOf(numbered(OBJECTS, "x", round % STAYING) | "passes", true));
            cache_.remove(numbered(OBJECTS, "x", (round * 7 + 1) % STAYING) | "passes");
            publish();
        }
        cache_.put(objectOf(THE_END, true));
        publish();
    }

    TempRoot root_;
    CapturedLog log_{17};
    UnsyncedFileSystem fileSystem_;
    CacheLocation location_{root_.path(), "live"};
    LiveCache cache_{fileSystem_, location_, ObjectNamespace()};
};

TEST_F(ReachableLive, PagesOfAnotherProcessAreWholeWhateverIsPublishedMeanwhile)
{
    Process reader = Process::fork([this] { return Pager(location_.accessCache()).watch(); });
    publishManyChanges();
    EXPECT_EQ(reader.wait().exitStatus, 0);
}

} // namespace
} // namespace keepsafe_test
