// What a process counts, against the sum of what its threads asked: random checks, rows and matrices over
// random caches, some of which were left by an interrupted writer.

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/rbac/questions/bulk_check.h>
#include <keepsafe/rbac/questions/counts.h>
#include <keepsafe/rbac/questions/matrix.h>

#include "RandomPolicy.h"
#include "support/CapturedLog.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::Answer;
using Tessara::Keepsafe::Rbac::checkCounts;
using Tessara::Keepsafe::Rbac::CheckCounts;
using Tessara::Keepsafe::Rbac::CheckerList;
using Tessara::Keepsafe::Rbac::checkMatrix;
using Tessara::Keepsafe::Rbac::checkRow;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::RowState;

/// What has to be counted.
struct Tally {
    std::uint64_t checks = 0;
    std::uint64_t denials = 0;
    std::uint64_t errors = 0;
};

/// Asks at random in a thread of its own.
class CountedThread {
public:
    CountedThread(PolicyOnDisk& disk, std::uint32_t seed, const std::string& id) : random_(seed)
    {
        sound_ = disk.publish(random_.model, random_.options, id);
        CacheWriter interrupted(random_.model, random_.options);
        interrupted.metadata.writeInProgress = 1;
        interrupted.write(disk.directory(id + "-interrupted"));
        interrupted_ = disk.open(id + "-interrupted");
    }

    void start()
    {
        thread_ = std::thread([this] {
            for (int i = 0; i < QUESTIONS && !testing::Test::HasFailure(); ++i) {
                ask();
            }
        });
    }
    void join() { thread_.join(); }

    Tally tally;

private:
    static constexpr int QUESTIONS = 200;

    /// Some operations of one caller, and what they would be without files. Constant checkers count nothing.
    struct Caller {
        std::set<int> roles;
        std::vector<std::int32_t> bits; ///< of the operations that ask a cache
        std::vector<ObjectNamespace> operations;
    };

    Caller anyCaller(std::size_t operations)
    {
        Caller caller;
        caller.roles = random_.roles();
        while (caller.operations.size() < operations) {
            const std::int32_t bit = random_.anyOf(RandomPolicy::someBits());
            const bool isKnown = random_.below(10) != 0;
            caller.operations.push_back(isKnown ? PolicyOnDisk::operationOf(bit)
                                                : PolicyOnDisk::unknownOperation());
            if (isKnown && caller.roles.count(0) == 0) {
                caller.bits.push_back(bit);
            }
        }
        return caller;
    }

    void ask()
    {
        const bool isSound = random_.below(8) != 0;
        const bool isMatrix = random_.below(3) == 0;
        const Caller caller = anyCaller(isMatrix ? random_.below(4) : 1);
        CheckerList checkers;
        AccessControlClient& client = isSound ? *sound_ : *interrupted_;
        ASSERT_EQ(createAccessCheckers(client, caller.roles, caller.operations, 0, checkers), 0);
        std::vector<ObjectNamespace> objects;
        const std::uint32_t kind = random_.below(3);
        for (std::uint32_t size = kind == 0 && !isMatrix ? 1 : random_.below(40); size > 0; --size) {
            objects.push_back(random_.askedName());
        }
        const auto state = random_.below(2) == 0 ? RowState::PerPiece : RowState::WholeRow;
        const int status = thrownStatus([&] {
            if (isMatrix) {
                static_cast<void>(checkMatrix(checkers, objects, state));
            } else if (kind == 0) {
                static_cast<void>(checkers.front()->checkAccess(objects.front()));
            } else if (kind == 1) {
                static_cast<void>(checkRow(*checkers.front(), objects, state));
            } else {
                askTexts(*checkers.front(), objects, state, caller.bits.empty() ? 0 : 1);
            }
        });
        count(caller, objects, isSound, status);
    }

    /// With a text that is no name behind the others, which is a check that ends with no.
    void askTexts(const Tessara::Keepsafe::Rbac::AccessChecker& checker,
                  const std::vector<ObjectNamespace>& objects, RowState state, std::uint64_t counted)
    {
        std::vector<std::string_view> texts;
        for (const ObjectNamespace& object : objects) {
            texts.emplace_back(object.str());
        }
        texts.emplace_back("no name");
        // Counted behind the call: a row without an answer is one error, whatever is in it.
        extra_ = counted;
        EXPECT_EQ(checkRow(checker, texts, state).back(), Answer::NotAName);
    }

    void count(const Caller& caller, const std::vector<ObjectNamespace>& objects, bool isSound, int status)
    {
        const std::uint64_t extra = extra_;
        extra_ = 0;
        const bool asksTheCache = !caller.bits.empty() && (!objects.empty() || extra != 0);
        EXPECT_EQ(status, asksTheCache && !isSound ? 12 : 0);
        if (status != 0) {
            ++tally.checks;
            ++tally.errors;
            return;
        }
        tally.checks += objects.size() * caller.bits.size() + extra;
        tally.denials += extra;
        for (const ObjectNamespace& object : objects) {
            for (const std::int32_t bit : caller.bits) {
                tally.denials += random_.model.isAllowed(caller.roles, bit, object) ? 0 : 1;
            }
        }
    }

    RandomPolicy random_;
    boost::shared_ptr<AccessControlClient> sound_;
    boost::shared_ptr<AccessControlClient> interrupted_;
    std::uint64_t extra_ = 0; ///< checks that are not about a name
    std::thread thread_;
};

/// Some threads at a time. Returns how many checks there were.
std::uint64_t askInThreads(PolicyOnDisk& disk, std::uint32_t seed)
{
    constexpr std::uint32_t THREADS = 3;
    const CheckCounts before = checkCounts();
    std::vector<std::unique_ptr<CountedThread>> threads;
    for (std::uint32_t i = 0; i < THREADS; ++i) {
        threads.push_back(
            std::make_unique<CountedThread>(disk, THREADS * seed + i, "cache" + std::to_string(i)));
    }
    for (const auto& thread : threads) {
        thread->start();
    }
    Tally sum;
    for (const auto& thread : threads) {
        thread->join();
        sum.checks += thread->tally.checks;
        sum.denials += thread->tally.denials;
        sum.errors += thread->tally.errors;
    }
    const CheckCounts after = checkCounts();
    EXPECT_EQ(after.checks - before.checks, sum.checks);
    EXPECT_EQ(after.denials - before.denials, sum.denials);
    EXPECT_EQ(after.errors - before.errors, sum.errors);
    EXPECT_EQ(after.waits, before.waits);
    EXPECT_EQ(after.refreshes, before.refreshes);
    EXPECT_GT(sum.errors, 0U);
    return sum.checks;
}

TEST(CountsReference, AreTheSumOfWhatTheThreadsAsked)
{
    const CapturedLog log(1000);
    PolicyOnDisk disk;
    std::uint64_t asked = 0;
    const auto questions = static_cast<std::uint64_t>(questionCount(20000));
    for (std::uint32_t seed = 1; asked < questions; ++seed) {
        asked += askInThreads(disk, seed);
        ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed;
    }
    testing::Test::RecordProperty("questions", std::to_string(asked));
}

} // namespace
} // namespace keepsafe_test
