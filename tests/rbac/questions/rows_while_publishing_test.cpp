// Rows while another process changes the policy: it grants the root's children to role 1 and takes the grant
// away again, in turns, under the lock. So all objects are allowed, or none is.

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/questions/bulk_check.h>

#include "rbac/questions/QuestionsTest.h"
#include "support/Process.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::Answer;
using Tessara::Keepsafe::Rbac::checkRow;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::RowState;

constexpr std::int32_t BIT = 4;

class RowsWhilePublishing : public testing::TestWithParam<bool> {
protected:
    RowsWhilePublishing()
    {
        CacheWriter cache;
        word_ = cache.add(bitsNode(0, 1U << BIT));
        const auto role = cache.add(bitsNode(1, word_));
        const auto object = cache.add(managedObject(true, 0, role));
        cache.metadata.segmentRoot = cache.add(segmentNode(segmentValues("|").front(), 0, 0, object, 0));
        cache.unusedRecords = GetParam();
        root_.write(cache);
        root_.open();
    }

    /// Changes the policy until it is killed.
    [[nodiscard]] Process publish() const
    {
        const std::string directory = root_.directory();
        return Process::fork([directory, word = word_] {
            const int nodes = open((directory + "/nodes").c_str(), O_WRONLY | O_CLOEXEC);
            const FileLock lock = FileLockManager::instance().getLock(directory + "/manifest.json");
            constexpr std::size_t VALUE = 20;
            for (std::uint32_t bits = 0;; bits ^= 1U << BIT) {
                const FileLockGuard guard(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                          FileLock::DEFAULT_INTERVAL);
                if (pwrite(nodes, &bits, sizeof bits, static_cast<off_t>(word + VALUE)) != sizeof bits) {
                    return 1;
                }
            }
        });
    }

    [[nodiscard]] std::vector<Answer> ask(std::size_t count, RowState state)
    {
        std::vector<ObjectNamespace> objects;
        for (std::size_t i = 0; i < count; ++i) {
            objects.emplace_back(std::to_string((i * 7919) % 10007), std::to_string(i));
        }
        const DiskAccessChecker checker(root_.client().accessCache(), {1}, Operation{BIT}, 0);
        return checkRow(checker, objects, state);
    }

    QuestionsRoot root_{R"({"|OPERATIONS|VIEW|": 4})"};
    CacheWriter::NodeOffset word_ = 0;
};

bool isMixed(const std::vector<Answer>& answers)
{
    return std::set<Answer>(answers.begin(), answers.end()).size() > 1;
}

TEST_P(RowsWhilePublishing, AWholeRowHasOneStateWhicheverItIs)
{
    const Process writer = publish();
    std::set<Answer> met;
    for (int round = 0; round < 100 || (met.size() < 2 && round < 10000); ++round) {
        const std::vector<Answer> answers = ask(2000, RowState::WholeRow);
        ASSERT_FALSE(isMixed(answers));
        met.insert(answers.front());
    }
    EXPECT_EQ(met, (std::set<Answer>{Answer::Allowed, Answer::Denied}));
    writer.kill();
}

TEST_P(RowsWhilePublishing, ARowOfPiecesLetsTheWriterInBetween)
{
    const Process writer = publish();
    bool wasMixed = false;
    for (int round = 0; round < 1000 && !wasMixed; ++round) {
        wasMixed = isMixed(ask(50000, RowState::PerPiece));
    }
    EXPECT_TRUE(wasMixed);
    writer.kill();
}

INSTANTIATE_TEST_SUITE_P(Caches, RowsWhilePublishing, testing::Bool(),
                         [](const auto& sized) { return sized.param ? "Large" : "Small"; });

} // namespace
} // namespace keepsafe_test
