// The state and the contents of a cache while another process publishes change after change: each is that of
// one publication.

#include <cstdint>
#include <string>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/questions/cache_state.h>
#include <keepsafe/rbac/questions/policy_contents.h>

#include "cachewriter/LiveCache.h"
#include "service/support/InterruptedFileSystem.h"
#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace {

namespace service = keepsafe_service;
namespace rbac = Tessara::Keepsafe::Rbac;

constexpr int HOLDER = 9;
constexpr rbac::Operation EDIT{3};
constexpr std::uint64_t PLACES = 8;
constexpr std::uint64_t GENERATIONS = 400;

/// What a reader in another process sees. In generation N the cache has N access definitions, and of its
/// objects the one with the number N modulo `PLACES` has the only grant.
class StateWatcher {
public:
    explicit StateWatcher(const std::string& directory)
        : client_(rbac::ObjectNamespace(),
                  boost::make_shared<const rbac::AccessCache>(rbac::Manifest("live", directory)), operations_)
    {
    }

    /// Asks until the writer has come to its end. 0, or the number of what was wrong.
    int watch()
    {
        rbac::CacheState last = state();
        while (last.generation != GENERATIONS) {
            const std::uint64_t holder = findHolder();
            const rbac::CacheState next = state();
            if (next.isInterrupted || !next.generation || next.accessDefinitions != next.generation) {
                return 1;
            }
            if (*next.generation < *last.generation || next.lastChange < last.lastChange) {
                return 2;
            }
            if ((next.stamp == last.stamp) != (next.generation == last.generation)) {
                return 3;
            }
            if (holder == PLACES || (next.stamp == last.stamp && holder != *next.generation % PLACES)) {
                return 4;
            }
            last = next;
        }
        return 0;
    }

private:
    rbac::CacheState state() { return cacheState(client_).value(); }

    /// The number of the object with the only grant; `PLACES` when there is none, or another one.
    std::uint64_t findHolder()
    {
        std::uint64_t holder = PLACES;
        std::uint64_t number = 0;
        rbac::CachePolicySource contents(client_, rbac::WalkLocking::OneState);
        for (rbac::GrantedObject object; contents.next(object); ++number) {
            if (!object.onObject.empty()) {
                holder = holder == PLACES ? number : 2 * PLACES;
            }
        }
        return number == PLACES && holder < PLACES ? holder : PLACES;
    }

    rbac::OperationCache operations_;
    rbac::DiskAccessControlClient client_;
};

class StateLive : public testing::Test {
protected:
    StateLive()
    {
        for (std::uint64_t place = 0; place < PLACES; ++place) {
            put(place, 0);
        }
        publishGeneration(1);
    }

    /// The object of that place; with access definitions it is the one that holds the grant.
    void put(std::uint64_t place, std::uint64_t accessDefinitions)
    {
        service::CacheObject object;
        object.ns = rbac::ObjectNamespace(std::to_string(place));
        object.accessDefinitionCount = static_cast<decltype(object.accessDefinitionCount)>(accessDefinitions);
        if (accessDefinitions != 0) {
            object.own.add(HOLDER, EDIT);
        }
        cache_.put(object);
    }

    void publishGeneration(std::uint64_t number)
    {
        put((number - 1) % PLACES, 0);
        put(number % PLACES, number);
        EXPECT_EQ(cache_.publish({{rbac::ObjectNamespace("OPERATIONS", "EDIT"), EDIT.offset}}), number);
    }

    keepsafe_test::TempRoot root_;
    keepsafe_test::CapturedLog log_{17};
    keepsafe_test::UnsyncedFileSystem fileSystem_;
    service::CacheLocation location_{root_.path(), "live"};
    service::LiveCache cache_{fileSystem_, location_, rbac::ObjectNamespace()};
};

TEST_F(StateLive, IsThatOfOnePublicationWhateverIsPublishedMeanwhile)
{
    keepsafe_test::Process reader =
        keepsafe_test::Process::fork([this] { return StateWatcher(location_.accessCache()).watch(); });
    for (std::uint64_t generation = 2; generation <= GENERATIONS; ++generation) {
        publishGeneration(generation);
    }
    EXPECT_EQ(reader.wait().exitStatus, 0);
}

} // namespace
