// The questions against a plain reference: random caches in every legal form, random questions, equal
// answers.

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/questions/bulk_check.h>
#include <keepsafe/rbac/questions/explain.h>
#include <keepsafe/rbac/questions/matrix.h>
#include <keepsafe/rbac/questions/roles_and_operations.h>

#include "rbac/questions/QuestionsTest.h"
#include "support/RandomModel.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AllowedRole;
using Tessara::Keepsafe::Rbac::Answer;
using Tessara::Keepsafe::Rbac::CheckerList;
using Tessara::Keepsafe::Rbac::checkMatrix;
using Tessara::Keepsafe::Rbac::checkRow;
using Tessara::Keepsafe::Rbac::createAccessCheckers;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Explainer;
using Tessara::Keepsafe::Rbac::Explanation;
using Tessara::Keepsafe::Rbac::GrantPlace;
using Tessara::Keepsafe::Rbac::GrantScope;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::Reason;
using Tessara::Keepsafe::Rbac::RowState;
using Tessara::Keepsafe::Rbac::whatMay;
using Tessara::Keepsafe::Rbac::whoMay;

constexpr long QUESTIONS_PER_CACHE = 500;

/// The operation whose bit is the one at that place of the list.
ObjectNamespace operationOf(std::size_t place)
{
    return ObjectNamespace("OPERATIONS") | std::to_string(place);
}

std::string operationsDocument()
{
    std::string document;
    for (std::size_t place = 0; place < RandomModel::someBits().size(); ++place) {
        document += (place == 0 ? "{\"" : ", \"") + operationOf(place).str() +
                    "\": " + std::to_string(RandomModel::someBits()[place]);
    }
    return document + "}";
}

/// Calls `ask(random, client)` for as many random questions as wanted, about as many caches as that takes.
template <typename Ask>
void forRandomQuestions(std::uint32_t seed, const Ask& ask)
{
    QuestionsRoot root(operationsDocument());
    const long wanted = wantedQuestions(20000);
    for (long asked = 0; asked < wanted; ++seed) {
        RandomModel random(seed);
        auto& client = root.open(random.model, random.options);
        for (long i = 0; i < QUESTIONS_PER_CACHE && asked < wanted; ++i, ++asked) {
            ask(random, client);
            if (testing::Test::HasFailure()) {
                FAIL() << "cache " << seed << ", question " << asked;
            }
        }
    }
}

bool anyHolds(const Grants& grants, const std::set<int>& roles, std::int32_t bit)
{
    return std::any_of(roles.begin(), roles.end(), [&](int role) {
        const auto found = grants.find(role);
        return found != grants.end() && found->second.count(bit) != 0;
    });
}

/// The reason worked out name by name from the object to the root.
Reason expectedReason(const AccessModel& model, const std::set<int>& roles, std::int32_t bit,
                      const ObjectNamespace& object)
{
    boost::optional<ObjectNamespace> name = object;
    for (bool isNamed = true; name; name = name->parentNamespace(), isNamed = false) {
        const auto found = model.objects.find(*name);
        if (found == model.objects.end()) {
            continue;
        }
        if (anyHolds(isNamed ? found->second.own : found->second.children, roles, bit)) {
            return isNamed ? Reason::Granted : Reason::GrantedByAncestor;
        }
        if (!found->second.inherit) {
            return roles.empty() ? Reason::NoRoles : Reason::InheritanceOff;
        }
    }
    return roles.empty() ? Reason::NoRoles : Reason::NotGranted;
}

void grant(AccessModel& model, const GrantPlace& place, int role, std::int32_t bit)
{
    ModelObject& object = model.objects[place.object];
    (place.scope == GrantScope::OnObject ? object.own : object.children)[role].insert(bit);
}

/// Each of the grants that would allow does, one at a time and each alone.
void expectEachTurnsTheDenial(const AccessModel& model, const Explanation& answer, std::int32_t bit,
                              const ObjectNamespace& object)
{
    for (const GrantPlace& place : answer.wouldAllow) {
        AccessModel changed = model;
        constexpr int ANY_ROLE = 17;
        grant(changed, place, ANY_ROLE, bit);
        EXPECT_TRUE(changed.isAllowed({ANY_ROLE}, bit, object)) << place.object;
    }
}

TEST(QuestionsReference, ReasonsAreThoseOfMapsAndSets)
{
    const CapturedLog log(1000);
    std::map<Reason, int> met;
    forRandomQuestions(1, [&](RandomModel& random, auto& client) {
        const std::set<int> roles = random.roles();
        const auto place = random.below(static_cast<std::uint32_t>(RandomModel::someBits().size()));
        const std::int32_t bit = RandomModel::someBits()[place];
        const ObjectNamespace object = random.askedName();
        const bool isKnown = random.below(20) != 0;
        const Explainer explainer(client, roles,
                                  isKnown ? operationOf(place) : ObjectNamespace("OPERATIONS", "NONE"));
        const auto verdict = explainer.verdict(object);
        const bool isRole0 = roles.count(0) != 0;
        const Reason expected = !isKnown  ? Reason::UnknownOperation
                                : isRole0 ? Reason::Role0
                                          : expectedReason(random.model, roles, bit, object);
        EXPECT_EQ(verdict.reason, expected);
        EXPECT_EQ(verdict.isAllowed, isKnown && (isRole0 || random.model.isAllowed(roles, bit, object)));
        const Explanation answer = explainer.explain(object);
        EXPECT_EQ(answer.verdict.reason, expected);
        EXPECT_EQ(answer.verdict.isAllowed, verdict.isAllowed);
        EXPECT_EQ(answer.wouldAllow.empty(), verdict.isAllowed || !isKnown);
        if (met[expected]++ % 16 == 0) {
            expectEachTurnsTheDenial(random.model, answer, bit, object);
        }
    });
    for (const Reason reason :
         {Reason::Granted, Reason::GrantedByAncestor, Reason::InheritanceOff, Reason::NotGranted,
          Reason::NoRoles, Reason::Role0, Reason::UnknownOperation}) {
        EXPECT_GT(met[reason], 100) << reasonName(reason);
    }
}

std::set<int> rolesOf(const AccessModel& model)
{
    std::set<int> roles(RandomModel::someRoles().begin(), RandomModel::someRoles().end());
    for (const auto& [name, object] : model.objects) {
        for (const Grants* grants : {&object.own, &object.children}) {
            for (const auto& [role, bits] : *grants) {
                roles.insert(role);
            }
        }
    }
    return roles;
}

/// Whether the place itself grants it, whatever else there is.
bool grants(const AccessModel& model, const GrantPlace& place, int role, std::int32_t bit)
{
    const ModelObject& object = model.objects.at(place.object);
    return anyHolds(place.scope == GrantScope::OnObject ? object.own : object.children, {role}, bit);
}

TEST(QuestionsReference, RolesAreThoseThatMapsAndSetsAllow)
{
    int allowed = 0;
    forRandomQuestions(2, [&](RandomModel& random, auto& client) {
        const auto place = random.below(static_cast<std::uint32_t>(RandomModel::someBits().size()));
        const std::int32_t bit = RandomModel::someBits()[place];
        const ObjectNamespace object = random.askedName();
        std::vector<int> expected;
        for (const int role : rolesOf(random.model)) {
            if (random.model.isAllowed({role}, bit, object)) {
                expected.push_back(role);
            }
        }
        std::vector<int> answered;
        for (const AllowedRole& role : whoMay(client, operationOf(place), object).roles) {
            answered.push_back(role.roleId);
            EXPECT_FALSE(role.grants.empty());
            for (const GrantPlace& source : role.grants) {
                EXPECT_TRUE(grants(random.model, source, role.roleId, bit)) << source.object;
            }
        }
        EXPECT_EQ(answered, expected) << object;
        allowed += expected.empty() ? 0 : 1;
    });
    EXPECT_GT(allowed, 1000);
}

TEST(QuestionsReference, OperationsAreThoseThatMapsAndSetsAllow)
{
    int allowed = 0;
    forRandomQuestions(3, [&](RandomModel& random, auto& client) {
        const std::set<int> roles = random.roles();
        const ObjectNamespace object = random.askedName();
        std::set<std::string> expected;
        for (std::size_t place = 0; place < RandomModel::someBits().size(); ++place) {
            if (roles.count(0) != 0 ||
                random.model.isAllowed(roles, RandomModel::someBits()[place], object)) {
                expected.insert(operationOf(place).str());
            }
        }
        std::vector<std::string> answered;
        for (const ObjectNamespace& operation : whatMay(client, roles, object).operations) {
            answered.push_back(operation.str());
        }
        EXPECT_EQ(answered, std::vector<std::string>(expected.begin(), expected.end())) << object;
        allowed += expected.empty() ? 0 : 1;
    });
    EXPECT_GT(allowed, 1000);
}

std::vector<ObjectNamespace> randomRow(RandomModel& random)
{
    std::vector<ObjectNamespace> row;
    for (std::uint32_t size = random.below(300); size > 0; --size) {
        row.push_back(random.askedName());
    }
    if (random.below(2) == 0) {
        std::sort(row.begin(), row.end(), [](const ObjectNamespace& left, const ObjectNamespace& right) {
            return left.str() < right.str();
        });
    }
    return row;
}

TEST(QuestionsReference, RowsAreAnsweredLikeMapsAndSetsObjectByObject)
{
    QuestionsRoot root(operationsDocument());
    const long wanted = wantedQuestions(100000);
    std::uint32_t seed = 4000;
    long allowed = 0;
    for (long asked = 0; asked < wanted; ++seed) {
        RandomModel random(seed);
        auto& client = root.open(random.model, random.options);
        for (int i = 0; i < 20; ++i) {
            const std::set<int> roles = random.roles();
            const std::int32_t bit = random.anyOf(RandomModel::someBits());
            const DiskAccessChecker checker(client.accessCache(), roles, Operation{bit}, 0);
            const std::vector<ObjectNamespace> row = randomRow(random);
            const std::vector<std::string_view> texts = [&row] {
                std::vector<std::string_view> all;
                for (const ObjectNamespace& object : row) {
                    all.emplace_back(object.str());
                }
                return all;
            }();
            const auto state = random.below(2) == 0 ? RowState::PerPiece : RowState::WholeRow;
            const std::vector<Answer> answers = checkRow(checker, row, state);
            EXPECT_EQ(checkRow(checker, texts, state), answers);
            for (std::size_t o = 0; o < row.size(); ++o, ++asked) {
                const bool expected = random.model.isAllowed(roles, bit, row[o]);
                ASSERT_EQ(answers[o] == Answer::Allowed, expected) << row[o] << " cache " << seed;
                allowed += expected ? 1 : 0;
            }
        }
    }
    EXPECT_GT(allowed, wanted / 20);
}

TEST(QuestionsReference, MatricesAreAnsweredLikeMapsAndSets)
{
    QuestionsRoot root(operationsDocument());
    const long wanted = wantedQuestions(100000);
    std::uint32_t seed = 5000;
    for (long asked = 0; asked < wanted; ++seed) {
        RandomModel random(seed);
        auto& client = root.open(random.model, random.options);
        std::vector<ObjectNamespace> operations;
        for (std::size_t place = 0; place < RandomModel::someBits().size(); ++place) {
            operations.push_back(operationOf(place));
        }
        for (int i = 0; i < 5; ++i) {
            const std::set<int> roles = random.roles();
            CheckerList checkers;
            ASSERT_EQ(createAccessCheckers(client, roles, operations, 0, checkers), 0);
            const std::vector<ObjectNamespace> row = randomRow(random);
            const auto matrix = checkMatrix(checkers, row);
            for (std::size_t o = 0; o < row.size(); ++o) {
                for (std::size_t place = 0; place < operations.size(); ++place, ++asked) {
                    const bool expected =
                        roles.count(0) != 0 ||
                        random.model.isAllowed(roles, RandomModel::someBits()[place], row[o]);
                    ASSERT_EQ(matrix.isAllowed(o, place), expected) << row[o] << " cache " << seed;
                }
            }
        }
    }
}

} // namespace
} // namespace keepsafe_test
