#include <future>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/Manifest.h>

#include "cachewriter/LiveCache.h"
#include "service/support/InterruptedFileSystem.h"
#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"

/// Readers ask while a writer publishes change after change. One grant wanders from object to object: at any
/// moment exactly one of them has it, and it is never anywhere else.

namespace keepsafe_test {
namespace {

using keepsafe_service::CacheLocation;
using keepsafe_service::CacheObject;
using keepsafe_service::LiveCache;
using keepsafe_service::OperationBits;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

constexpr int WRITES = 300;
constexpr unsigned HOLDERS = 8;
constexpr std::int32_t ROLE = 1;
constexpr Operation WANDERING{33};
constexpr Operation NEVER_GRANTED{34};
const ObjectNamespace END("VAULT", "the end");

ObjectNamespace holder(unsigned number)
{
    return ObjectNamespace("VAULT", "holder-" + std::to_string(number));
}

CacheObject objectWith(const ObjectNamespace& ns, bool isGranted)
{
    CacheObject object;
    object.ns = ns;
    object.own.add(ROLE + 1, NEVER_GRANTED); // to another role
    if (isGranted) {
        object.own.add(ROLE, WANDERING);
    }
    return object;
}

/// Asks until the writer has come to its end; false when an answer was wrong.
bool findsOneHolderAlways(const std::string& directory)
{
    const AccessCache cache(Manifest("vault", directory));
    while (true) {
        const AccessCache::Reader reader = cache.lock();
        unsigned granted = 0;
        for (unsigned number = 0; number < HOLDERS; ++number) {
            granted += reader.getOperationBit(holder(number), ROLE, WANDERING) ? 1 : 0;
            if (reader.getOperationBit(holder(number), ROLE, NEVER_GRANTED)) {
                return false;
            }
        }
        if (granted != 1) {
            return false;
        }
        if (reader.lookup(END) != nullptr) {
            return true;
        }
    }
}

class LiveReaders : public testing::Test {
protected:
    LiveReaders()
    {
        for (unsigned number = 0; number < HOLDERS; ++number) {
            cache_.put(objectWith(holder(number), number == 0));
        }
        publish();
    }

    void publish() { cache_.publish({{ObjectNamespace("OPERATIONS", "VIEW"), WANDERING.offset}}); }

    /// The grant goes its way, while other objects come, and go again, and the files grow.
    void publishManyChanges()
    {
        for (unsigned round = 0; round < WRITES; ++round) {
            cache_.put(objectWith(holder(round % HOLDERS), false));
            cache_.put(objectWith(holder((round + 1) % HOLDERS), true));
            cache_.put(
                objectWith(ObjectNamespace("VAULT", "passing", std::to_string(round)), round % 2 == 0));
            if (round % 3 != 0) {
                cache_.remove(ObjectNamespace("VAULT", "passing", std::to_string(round - 1)));
            }
            publish();
        }
        cache_.put(objectWith(END, false));
        publish();
    }

    [[nodiscard]] std::string directory() const { return location_.accessCache(); }

    TempDir dir_;
    CapturedLog log_{17};
    UnsyncedFileSystem fileSystem_;
    CacheLocation location_{dir_.path(), "vault"};
    LiveCache cache_{fileSystem_, location_, ObjectNamespace("VAULT")};
};

TEST_F(LiveReaders, OfAnotherProcessFindEachGenerationWhole)
{
    Process reader = Process::fork([this] { return findsOneHolderAlways(directory()) ? 0 : 1; });

    publishManyChanges();

    EXPECT_EQ(reader.wait().exitStatus, 0);
}

TEST_F(LiveReaders, InThreadsOfTheWritersProcessFindEachGenerationWhole)
{
    const auto ask = [this] { return findsOneHolderAlways(directory()); };
    auto first = std::async(std::launch::async, ask);
    auto second = std::async(std::launch::async, ask);

    publishManyChanges();

    EXPECT_TRUE(first.get());
    EXPECT_TRUE(second.get());
}

} // namespace
} // namespace keepsafe_test
