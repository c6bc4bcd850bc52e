#include <keepsafe/rbac/questions/bulk_check.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/client/StubAccessControlClient.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>
#include <keepsafe/rbac/questions/matrix.h>

#include "rbac/questions/QuestionsTest.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::AccessMatrix;
using Tessara::Keepsafe::Rbac::Answer;
using Tessara::Keepsafe::Rbac::CheckerList;
using Tessara::Keepsafe::Rbac::checkMatrix;
using Tessara::Keepsafe::Rbac::checkRow;
using Tessara::Keepsafe::Rbac::ConstantAccessChecker;
using Tessara::Keepsafe::Rbac::createAccessCheckers;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::keepAllowed;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::RowState;
using Tessara::Keepsafe::Rbac::StubAccessControlClient;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
namespace operations = Tessara::Keepsafe::Rbac::root_namespaces::operations;

constexpr Answer YES = Answer::Allowed;
constexpr Answer NO = Answer::Denied;

/// Role 1 holds VIEW below |A| and ADD on |A|B|, which does not inherit.
class BulkCheckTest : public testing::TestWithParam<bool> {
protected:
    BulkCheckTest()
    {
        AccessModel model;
        model.objects[ObjectNamespace("A")] = {true, {}, {{1, {4}}}};
        model.objects[ObjectNamespace("A", "B")] = {false, {{1, {5}}}, {}};
        open(model);
    }

    void open(const AccessModel& model)
    {
        CacheWriter::Options options;
        options.unusedRecords = GetParam();
        root_.open(model, options);
    }

    [[nodiscard]] DiskAccessChecker checker(int bit = 4)
    {
        return {root_.client().accessCache(), {1}, Operation{bit}, 0};
    }

    QuestionsRoot root_{R"({"|OPERATIONS|VIEW|": 4, "|OPERATIONS|ADD|": 5})"};
};

TEST_P(BulkCheckTest, AnswersAreInTheOrderOfTheObjects)
{
    const std::vector<ObjectNamespace> objects{ObjectNamespace("A", "X"), ObjectNamespace("A"),
                                               ObjectNamespace("A", "B"), ObjectNamespace("A", "X", "Y")};
    for (const RowState state : {RowState::PerPiece, RowState::WholeRow}) {
        EXPECT_THAT(checkRow(checker(), objects, state), ElementsAre(YES, NO, NO, YES));
    }
}

TEST_P(BulkCheckTest, NoObjectsAreNoAnswers)
{
    EXPECT_THAT(checkRow(checker(), std::vector<ObjectNamespace>()), IsEmpty());
    std::vector<ObjectNamespace> none;
    keepAllowed(checker(), none);
    EXPECT_THAT(none, IsEmpty());
}

TEST_P(BulkCheckTest, KeepsTheAllowedInTheirOrder)
{
    std::vector<ObjectNamespace> objects{ObjectNamespace("A", "Z"), ObjectNamespace("A", "B"),
                                         ObjectNamespace("A", "C"), ObjectNamespace("B")};
    keepAllowed(checker(), objects);
    EXPECT_THAT(objects, ElementsAre(ObjectNamespace("A", "Z"), ObjectNamespace("A", "C")));
}

TEST_P(BulkCheckTest, ATextThatIsNoTextFormIsNoNameWhateverTheCheckerAnswers)
{
    const std::vector<std::string_view> texts{"|A|%58|", "|A|X",     "A|X|",  "",        "|A|%7c|", "|A|%2|",
                                              "|A| |",   "|A|\xE9|", "|A|~|", "|A|%20|", "|A|%",    "|A|%7|"};
    const ConstantAccessChecker<true> everything;
    EXPECT_THAT(checkRow(checker(), texts), Each(Answer::NotAName));
    EXPECT_THAT(checkRow(everything, texts), Each(Answer::NotAName));
}

TEST_P(BulkCheckTest, TextFormsAreAnsweredBesideTextsThatAreNone)
{
    const std::vector<std::string_view> texts{"|A|X|", "bad", "|A|%7C+%E9|", "|", "|A||", "worse", "|A|"};
    EXPECT_THAT(checkRow(checker(), texts),
                ElementsAre(YES, Answer::NotAName, YES, NO, YES, Answer::NotAName, NO));
}

TEST_P(BulkCheckTest, EveryByteThatATextFormEscapesIsNoticedWhereverItStands)
{
    const std::string_view literals = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-.*+_|";
    const ConstantAccessChecker<true> everything;
    for (const std::size_t length : {3U, 16U, 18U, 33U, 47U}) {
        for (std::size_t place = 1; place + 1 < length; ++place) {
            for (int byte = 0; byte < 256; ++byte) {
                std::string text = '|' + std::string(length - 2, 'g') + '|';
                text[place] = static_cast<char>(byte);
                const bool isName = literals.find(text[place]) != std::string_view::npos;
                EXPECT_THAT(checkRow(everything, std::vector<std::string_view>{text}),
                            ElementsAre(isName ? Answer::Allowed : Answer::NotAName))
                    << byte << " at " << place << " of " << length;
            }
        }
    }
}

TEST_P(BulkCheckTest, AscendingNamesAreAnsweredLikeAnyOthers)
{
    std::vector<std::string> names;
    for (int i = 1000; i < 4000; ++i) {
        names.push_back("|A|" + std::string(i % 7 == 0 ? "B|" : "C|") + std::to_string(i) + "|");
    }
    std::sort(names.begin(), names.end());
    const std::vector<std::string_view> texts(names.begin(), names.end());
    const auto answers = checkRow(checker(), texts);
    for (std::size_t i = 0; i < names.size(); ++i) {
        ASSERT_EQ(answers[i], names[i].compare(0, 5, "|A|B|") == 0 ? NO : YES) << names[i];
    }
}

TEST_P(BulkCheckTest, ANameWithMoreObjectsThanUsualIsAnswered)
{
    AccessModel model;
    ObjectNamespace name;
    model.objects[name] = {true, {}, {{1, {4}}}};
    for (int depth = 0; depth < 100; ++depth) {
        name = name | "d";
        model.objects[name] = {};
    }
    open(model);
    EXPECT_THAT(checkRow(checker(), std::vector<ObjectNamespace>{name, ObjectNamespace("x"), name}),
                ElementsAre(YES, YES, YES));
}

/// Denies what it would allow otherwise.
class ContraryChecker : public DiskAccessChecker {
public:
    using DiskAccessChecker::DiskAccessChecker;
    [[nodiscard]] bool checkAccess(const ObjectNamespace& object) const override
    {
        return !DiskAccessChecker::checkAccess(object);
    }
};

TEST_P(BulkCheckTest, ACheckerOfADerivedClassDecidesItself)
{
    const ContraryChecker contrary(root_.client().accessCache(), {1}, Operation{4}, 0);
    EXPECT_THAT(checkRow(contrary, std::vector<ObjectNamespace>{ObjectNamespace("A", "X")}), ElementsAre(NO));
    EXPECT_THAT(checkRow(contrary, std::vector<std::string_view>{"|A|X|", "|A|"}), ElementsAre(NO, YES));
}

TEST_P(BulkCheckTest, WithoutAnAnswerEverythingIsDenied)
{
    CacheWriter cache;
    cache.metadata.writeInProgress = 1;
    root_.write(cache);
    root_.open();
    const CapturedLog log(17);
    std::vector<Answer> answers(2, YES);
    const std::vector<ObjectNamespace> objects(2, ObjectNamespace("A", "X"));
    for (const RowState state : {RowState::PerPiece, RowState::WholeRow}) {
        EXPECT_THROW(checkRow(checker(), objects.data(), 2, answers.data(), state), EC_exception);
        EXPECT_THAT(answers, Each(NO));
    }
    std::vector<ObjectNamespace> kept = objects;
    EXPECT_THROW(keepAllowed(checker(), kept), EC_exception);
    EXPECT_EQ(kept, objects);
}

/// Allows everything until it has no answer.
class FailingChecker : public AccessChecker {
public:
    [[nodiscard]] bool checkAccess(const ObjectNamespace& object) const override
    {
        if (object == ObjectNamespace("B")) {
            throw EC_exception(12);
        }
        return true;
    }
};

TEST_P(BulkCheckTest, WithoutAnAnswerOfTheCallersOwnCheckerEverythingIsDenied)
{
    const std::vector<ObjectNamespace> objects{ObjectNamespace("A"), ObjectNamespace("B")};
    std::vector<Answer> answers(2, YES);
    EXPECT_THROW(checkRow(FailingChecker(), objects.data(), 2, answers.data(), RowState::PerPiece),
                 EC_exception);
    EXPECT_THAT(answers, Each(NO));
}

TEST_P(BulkCheckTest, AMatrixHasTheAnswersOfEachChecker)
{
    CheckerList checkers;
    const CapturedLog log(17);
    ASSERT_EQ(createAccessCheckers(root_.client(), {1},
                                   {operations::VIEW, ObjectNamespace("OPERATIONS", "NONE"), operations::ADD},
                                   0, checkers),
              0);
    const AccessMatrix matrix =
        checkMatrix(checkers, {ObjectNamespace("A", "B"), ObjectNamespace("A", "C"), ObjectNamespace("A")});
    EXPECT_THAT(matrix.answers(), ElementsAre(NO, NO, YES, YES, NO, NO, NO, NO, NO));
    EXPECT_TRUE(matrix.isAllowed(0, 2));
    EXPECT_FALSE(matrix.isAllowed(1, 2));
}

TEST_P(BulkCheckTest, WithoutEnforcementTheMatrixIsFull)
{
    StubAccessControlClient stub;
    CheckerList checkers;
    ASSERT_EQ(
        createAccessCheckers(stub, nullptr, "no token", {operations::VIEW, operations::ADD}, 0, checkers), 0);
    EXPECT_THAT(checkMatrix(checkers, {ObjectNamespace("A")}).answers(), ElementsAre(YES, YES));
}

TEST_P(BulkCheckTest, CheckersOfAClientThatRefusesAreNone)
{
    CheckerList checkers(1);
    const CapturedLog log(17);
    EXPECT_NE(createAccessCheckers(root_.client(), nullptr, "no token", {operations::VIEW}, 0, checkers), 0);
    EXPECT_EQ(checkers.size(), 1U);
}

/// Makes no checker, whatever its status says.
class ClientWithoutCheckers : public AccessControlClient {
public:
    explicit ClientWithoutCheckers(int status) : status_(status) {}
    int createAccessChecker(Tessara::Dal::DbConnectionManager* /*dbConnectionManager*/,
                            const std::string& /*sessionToken*/, const ObjectNamespace& /*operation*/,
                            int /*reserved*/, boost::shared_ptr<const AccessChecker>& /*checker*/) override
    {
        return status_;
    }
    int createAccessChecker(const std::set<int>& /*roleIds*/, const ObjectNamespace& /*operation*/,
                            int /*reserved*/, boost::shared_ptr<const AccessChecker>& /*checker*/) override
    {
        return status_;
    }

private:
    const int status_;
};

TEST_P(BulkCheckTest, CheckersOfAClientThatMakesNoneAreAStatus)
{
    CheckerList checkers(1);
    ClientWithoutCheckers refusing(117);
    EXPECT_EQ(createAccessCheckers(refusing, {1}, {operations::VIEW}, 0, checkers), 117);
    ClientWithoutCheckers forgetful(0);
    EXPECT_EQ(createAccessCheckers(forgetful, {1}, {operations::VIEW}, 0, checkers), 36);
    EXPECT_EQ(checkers.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Caches, BulkCheckTest, testing::Bool(),
                         [](const auto& sized) { return sized.param ? "Large" : "Small"; });

} // namespace
} // namespace keepsafe_test
