// Questions about damaged caches: whatever the files hold, there is an answer or EC_exception 12, in bounded
// time, and nothing is allowed that a checker of the same cache denies.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/questions/bulk_check.h>
#include <keepsafe/rbac/questions/explain.h>
#include <keepsafe/rbac/questions/roles_and_operations.h>

#include "rbac/questions/QuestionsTest.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::Answer;
using Tessara::Keepsafe::Rbac::checkRow;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Explainer;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::RowState;
using Tessara::Keepsafe::Rbac::whatMay;
using Tessara::Keepsafe::Rbac::whoMay;

const std::vector<std::string> RECORD_FILES{"metadata", "objects", "nodes", "segments"};

class QuestionsDamageTest : public testing::Test {
protected:
    QuestionsDamageTest()
    {
        AccessModel model;
        model.objects[ObjectNamespace()] = {true, {}, {{1, {0}}, {4, {5}}}};
        model.objects[ObjectNamespace("KEEPSAFE")] = {true, {{2, {5}}, {3, {40}}}, {{2, {5, 70}}}};
        model.objects[ObjectNamespace("KEEPSAFE", "pool")] = {false, {{-4, {1, 33}}}, {{17, {6}}}};
        model.objects[ObjectNamespace("KEEPSAFE", "policy|1")] = {true, {{17, {7}}}, {}};
        root_.write(CacheWriter(model, {}));
        for (const std::string& name : RECORD_FILES) {
            original_.push_back(readFile(file(name)));
        }
    }

    [[nodiscard]] std::string file(const std::string& name) const { return root_.directory() + '/' + name; }

    /// Whether a checker allows it; false when there is no answer.
    [[nodiscard]] bool isAllowed(const std::set<int>& roles, int bit, const ObjectNamespace& object)
    {
        try {
            return DiskAccessChecker(root_.client().accessCache(), roles, Operation{bit}, 0)
                .checkAccess(object);
        } catch (const EC_exception&) {
            return false;
        }
    }

    template <typename Ask>
    static void answerOrStatus12(const Ask& ask)
    {
        try {
            ask();
        } catch (const EC_exception& failure) {
            EXPECT_EQ(failure.status(), 12);
        }
    }

    void askEverything()
    {
        const std::set<int> roles{-4, 1, 2, 17};
        const Explainer explainer(root_.client(), roles, operation_);
        const DiskAccessChecker checker(root_.client().accessCache(), roles, Operation{5}, 0);
        for (const ObjectNamespace& object : objects_) {
            answerOrStatus12([&] {
                if (explainer.verdict(object).isAllowed) {
                    EXPECT_TRUE(isAllowed(roles, 5, object)) << object;
                }
            });
            answerOrStatus12([&] {
                if (explainer.explain(object).verdict.isAllowed) {
                    EXPECT_TRUE(isAllowed(roles, 5, object)) << object;
                }
            });
            answerOrStatus12([&] {
                for (const auto& role : whoMay(root_.client(), operation_, object).roles) {
                    EXPECT_TRUE(isAllowed({role.roleId}, 5, object)) << object << ' ' << role.roleId;
                }
            });
            answerOrStatus12([&] {
                for (const auto& operation : whatMay(root_.client(), roles, object).operations) {
                    EXPECT_TRUE(isAllowed(roles, operation == operation_ ? 5 : 33, object)) << object;
                }
            });
        }
        for (const RowState state : {RowState::PerPiece, RowState::WholeRow}) {
            answerOrStatus12([&] { expectAllowedByCheckerToo(checkRow(checker, objects_, state), roles); });
        }
    }

    void expectAllowedByCheckerToo(const std::vector<Answer>& answers, const std::set<int>& roles)
    {
        for (std::size_t i = 0; i < objects_.size(); ++i) {
            if (answers[i] == Answer::Allowed) {
                EXPECT_TRUE(isAllowed(roles, 5, objects_[i])) << objects_[i];
            }
        }
    }

    /// The names of the row descend and the cache is large, so the names are walked down side by side.
    void expectNoAnswerToADescendingRow(CacheWriter& cache)
    {
        cache.unusedRecords = true;
        root_.write(cache);
        const DiskAccessChecker checker(root_.open().accessCache(), {1}, Operation{5}, 0);
        const std::vector<ObjectNamespace> descending(objects_.rbegin(), objects_.rend());
        std::vector<Answer> answers(descending.size(), Answer::Allowed);
        EXPECT_EQ(thrownStatus([&] {
                      checkRow(checker, descending.data(), descending.size(), answers.data(),
                               RowState::PerPiece);
                  }),
                  12);
        EXPECT_THAT(answers, testing::Each(Answer::Denied));
    }

    CapturedLog log_{1000};
    QuestionsRoot root_{R"({"|OPERATIONS|FIVE|": 5, "|OPERATIONS|THIRTY-THREE|": 33})"};
    const ObjectNamespace operation_{"OPERATIONS", "FIVE"};
    std::vector<std::string> original_;
    const std::vector<ObjectNamespace> objects_{
        ObjectNamespace(),
        ObjectNamespace("KEEPSAFE"),
        ObjectNamespace("KEEPSAFE", "none"),
        ObjectNamespace("KEEPSAFE", "policy|1"),
        ObjectNamespace("KEEPSAFE", "pool"),
        ObjectNamespace("KEEPSAFE", "pool", "disk"),
    };
};

TEST_F(QuestionsDamageTest, RandomDamageIsAnAnswerOrStatus12)
{
    // KEEPSAFE_TEST_MUTATIONS=100000 gives the long run.
    const char* wanted = std::getenv("KEEPSAFE_TEST_MUTATIONS");
    const long rounds = wanted != nullptr ? std::atol(wanted) : 2000;
    std::mt19937 random(20260102);
    const std::vector<std::uint32_t> telling{0,  1,  15,          16,          24,          31,         32,
                                             48, 64, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U, 0xFFFFFFFFU};
    for (long round = 0; round < rounds && !HasFailure(); ++round) {
        const std::size_t which = random() % RECORD_FILES.size();
        std::string damaged = original_[which];
        for (auto hits = 1 + random() % 4; hits > 0; --hits) {
            if (random() % 2 == 0) {
                damaged[random() % damaged.size()] = static_cast<char>(random());
            } else {
                const std::uint32_t value = telling[random() % telling.size()];
                std::memcpy(damaged.data() + 4 * (random() % (damaged.size() / 4)), &value, sizeof value);
            }
        }
        if (random() % 8 == 0) {
            damaged.resize(random() % (damaged.size() + 1));
        }
        writeFile(file(RECORD_FILES[which]), damaged);
        if (round % 2 != 0) {
            addUnusedRecords(root_.directory());
        }
        root_.open();
        askEverything();
        writeFile(file(RECORD_FILES[which]), original_[which]);
        writeFile(file("segments"), original_.back());
    }
}

TEST_F(QuestionsDamageTest, ADescendingRowOverATrieThatLeadsOutOfTheFileIsDenied)
{
    CacheWriter cache;
    cache.metadata.segmentRoot = 0xFFFFFFE0U;
    expectNoAnswerToADescendingRow(cache);
}

TEST_F(QuestionsDamageTest, ADescendingRowOverATrieThatLeadsRoundIsDenied)
{
    CacheWriter cache;
    cache.metadata.segmentRoot = cache.add(segmentNode(0, 32, 32, 0, 0)); // its own left and right
    expectNoAnswerToADescendingRow(cache);
}

TEST_F(QuestionsDamageTest, ADescendingRowOverRoleTreesOutsideTheFileIsDenied)
{
    CacheWriter cache;
    constexpr CacheWriter::NodeOffset OUTSIDE = 24U * 100'000'000U;
    const auto object = cache.add(managedObject(true, OUTSIDE, OUTSIDE));
    cache.metadata.segmentRoot = cache.add(segmentNode(segmentValues("|").front(), 0, 0, object, 0));
    expectNoAnswerToADescendingRow(cache);
}

TEST_F(QuestionsDamageTest, ARoleTreeOfARoundIsStatus12)
{
    CacheWriter cache;
    const auto words = cache.add(bitsNode(0, 1U << 5U));
    cache.add(bitsNode(7, words, 48, 0)); // its own left
    const auto object = cache.add(managedObject(true, 48, 48));
    cache.metadata.segmentRoot = cache.add(segmentNode(segmentValues("|").front(), 0, 0, object, 0));
    root_.write(cache);
    root_.open();
    EXPECT_THROW(static_cast<void>(whoMay(root_.client(), operation_, ObjectNamespace())), EC_exception);
}

TEST_F(QuestionsDamageTest, ARoleThatNoSearchFindsIsStatus12)
{
    CacheWriter cache;
    const auto words = cache.add(bitsNode(0, 1U << 5U));
    const auto misplaced = cache.add(bitsNode(9, words));
    const auto root = cache.add(bitsNode(7, words, misplaced, 0)); // 9 is to the left of 7
    const auto object = cache.add(managedObject(true, root, 0));
    cache.metadata.segmentRoot = cache.add(segmentNode(segmentValues("|").front(), 0, 0, object, 0));
    root_.write(cache);
    root_.open();
    EXPECT_FALSE(isAllowed({9}, 5, ObjectNamespace()));
    EXPECT_THROW(static_cast<void>(whoMay(root_.client(), operation_, ObjectNamespace())), EC_exception);
}

} // namespace
} // namespace keepsafe_test
