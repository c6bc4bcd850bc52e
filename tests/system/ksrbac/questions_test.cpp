#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KsrbacTest.h"

namespace keepsafe_test {
namespace {

class Questions : public KsrbacTest {
protected:
    [[nodiscard]] ProgramResult explain(const std::string& roles, std::vector<std::string> more) const
    {
        more.insert(more.begin(), "--explain");
        return check(roles, more);
    }
    [[nodiscard]] ProgramResult whoCan(const std::string& operation, const std::string& object) const
    {
        return run({"who-can", "--cache=main", operation, object});
    }
    [[nodiscard]] ProgramResult whatCan(const std::string& roles, const std::string& object) const
    {
        return run({"what-can", "--cache=main", "--roles=" + roles, object});
    }
    /// `check` with the table on standard input.
    [[nodiscard]] ProgramResult expectTable(const std::string& table) const
    {
        return run({"check", "--cache=main", "--expect=-"}, table);
    }
};

TEST_F(Questions, AnExplanationFollowsItsAnswer)
{
    const auto result = explain("17,2", {"|KEEPSAFE|X|", "|OTHER|"});
    EXPECT_EQ(result.output, "allow\t|KEEPSAFE|X|\n"
                             "  granted-by-ancestor: |KEEPSAFE| grants it on everything below it\n"
                             "  |KEEPSAFE|X|  not in the cache\n"
                             "  |KEEPSAFE|  inherits; below it: role 17\n"
                             "deny\t|OTHER|\n"
                             "  not-granted: nothing up to the root grants the operation\n"
                             "  |OTHER|  not in the cache\n"
                             "  |  not in the cache\n"
                             "  would be allowed by a grant on |OTHER|, or below |\n");
    EXPECT_EQ(result.exitStatus, 1);
}

TEST_F(Questions, AnExplanationInJsonHasReasonAndPath)
{
    EXPECT_EQ(explain("17", {"--json", "|KEEPSAFE|CLOSED|"}).output,
              "{\"object\":\"|KEEPSAFE|CLOSED|\",\"operation\":\"|OPERATIONS|VIEW|\",\"allowed\":false,"
              "\"reason\":\"inheritance-off\",\"path\":[{\"object\":\"|KEEPSAFE|CLOSED|\",\"inCache\":true,"
              "\"inherits\":false,\"counts\":\"OBJECT\",\"rolesOnObject\":[],\"rolesOnChildren\":[]}]}\n");
    EXPECT_EQ(
        explain("0", {"--json", "|A|"}).output,
        "{\"object\":\"|A|\",\"operation\":\"|OPERATIONS|VIEW|\",\"allowed\":true,\"reason\":\"role-0\","
        "\"path\":[]}\n");
}

TEST_F(Questions, EachReasonHasItsName)
{
    const auto reasonOf = [](const ProgramResult& result) {
        const std::size_t begin = result.output.find("\n  ") + 3;
        return result.output.substr(begin, result.output.find(':', begin) - begin);
    };
    EXPECT_EQ(reasonOf(explain("-5", {"|KEEPSAFE|CLOSED|"})), "granted");
    EXPECT_EQ(reasonOf(explain("", {"|KEEPSAFE|X|"})), "no-roles");
    EXPECT_EQ(reasonOf(run({"check", "--cache=main", "--operation=|OPERATIONS|NO|", "--roles=0", "--explain",
                            "|KEEPSAFE|X|"})),
              "unknown-operation");
}

TEST_F(Questions, WhoCanListsTheRoles)
{
    const auto result = whoCan("|OPERATIONS|VIEW|", "|KEEPSAFE|CLOSED|");
    EXPECT_EQ(result.output, "-5\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(run({"who-can", "--json", "--cache=main", "|OPERATIONS|VIEW|", "|KEEPSAFE|X|"}).output,
              "{\"role\":17,\"grants\":[{\"object\":\"|KEEPSAFE|\",\"propagation\":\"CHILDREN\"}]}\n");
}

TEST_F(Questions, WhoCanEndsWithOneWhenNobodyCan)
{
    const auto nobody = whoCan("|OPERATIONS|VIEW|", "|OTHER|");
    EXPECT_EQ(nobody.output + nobody.errors, "");
    EXPECT_EQ(nobody.exitStatus, 1);
    const auto unknown = whoCan("|OPERATIONS|NO|", "|KEEPSAFE|X|");
    EXPECT_EQ(unknown.output, "");
    EXPECT_EQ(unknown.errors,
              "ksrbac: note: the operation cache does not know |OPERATIONS|NO|: it is denied everywhere\n");
    EXPECT_EQ(unknown.exitStatus, 1);
}

TEST_F(Questions, WhatCanListsOperationsByTheirBytes)
{
    const auto result = whatCan("17", "|KEEPSAFE|X|");
    EXPECT_EQ(result.output, "|OPERATIONS|A+B|\n|OPERATIONS|VIEW|\n");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(whatCan("17", "|KEEPSAFE|").output, "|OPERATIONS|ADD|\n");
    EXPECT_EQ(whatCan("0", "|OTHER|").output, "|OPERATIONS|A+B|\n|OPERATIONS|ADD|\n|OPERATIONS|VIEW|\n");
    EXPECT_EQ(run({"what-can", "--json", "--cache=main", "--roles=17", "|KEEPSAFE|"}).output,
              "{\"operation\":\"|OPERATIONS|ADD|\"}\n");
}

TEST_F(Questions, WhatCanUnderANameListsWhatIsAllowedSomewhereThere)
{
    const auto under = [this](const std::string& roles, const std::string& name) {
        return run({"what-can", "--cache=main", "--roles=" + roles, "--under", name});
    };
    EXPECT_EQ(under("17", "|").output, "|OPERATIONS|ADD|\n");
    EXPECT_EQ(under("-5", "|KEEPSAFE|").output, "|OPERATIONS|A+B|\n|OPERATIONS|VIEW|\n");
    EXPECT_EQ(under("17", "|KEEPSAFE|CLOSED|").exitStatus, 1);
}

TEST_F(Questions, WhatCanEndsWithOneWhenThereIsNothing)
{
    EXPECT_EQ(whatCan("", "|KEEPSAFE|X|").exitStatus, 1);
    EXPECT_EQ(whatCan("17", "|OTHER|").exitStatus, 1);
}

TEST_F(Questions, ADamagedCacheIsStatusTwelveForEachOfThem)
{
    CacheWriter cache = cacheWriter();
    cache.metadata.writeInProgress = 1;
    cache.write(cacheDirectory());
    for (const auto& result : {explain("17", {"|KEEPSAFE|X|"}), whoCan("|OPERATIONS|VIEW|", "|KEEPSAFE|X|"),
                               whatCan("17", "|KEEPSAFE|X|")}) {
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.exitStatus, 3);
    }
}

TEST_F(Questions, ATableOfDecisionsThatHoldIsSilent)
{
    const auto result = expectTable("# a comment\n\n17\t|OPERATIONS|VIEW|\t|KEEPSAFE|X|\tallow\n"
                                    "\t|OPERATIONS|VIEW|\t|KEEPSAFE|X|\tdeny\n");
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(Questions, DecisionsThatDifferArePrinted)
{
    const std::string table = "17,2\t|OPERATIONS|VIEW|\t|KEEPSAFE|X|\tdeny\n"
                              "17\t|OPERATIONS|ADD|\t|KEEPSAFE|\tallow\n"
                              "\t|OPERATIONS|VIEW|\t|OTHER|\tallow\n";
    const auto result = expectTable(table);
    EXPECT_EQ(result.output,
              "<stdin>:1: roles 17,2, |OPERATIONS|VIEW|, |KEEPSAFE|X|: expected deny, decided allow\n"
              "<stdin>:3: roles (none), |OPERATIONS|VIEW|, |OTHER|: expected allow, decided deny\n");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(
        run({"check", "--json", "--cache=main", "--expect=-"}, table.substr(0, table.find('\n'))).output,
        "{\"line\":1,\"roles\":[2,17],\"operation\":\"|OPERATIONS|VIEW|\",\"object\":\"|KEEPSAFE|X|\","
        "\"expected\":false,\"allowed\":true}\n");
}

TEST_F(Questions, ATableThatIsMalformedOrEmptyEndsWithTwo)
{
    const auto messageOf = [this](const std::string& table) {
        const auto result = expectTable(table);
        EXPECT_EQ(result.exitStatus, 2);
        return result.errors;
    };
    EXPECT_EQ(messageOf("17\t|OPERATIONS|VIEW|\t|A|\n"),
              "ksrbac: <stdin>:1: 3 columns instead of 4: roles, operation, object and decision with tabs "
              "between\n");
    EXPECT_EQ(messageOf("\n17\t|OPERATIONS|VIEW|\t|A|\tyes\n"),
              "ksrbac: <stdin>:2: neither allow nor deny: \"yes\"\n");
    EXPECT_EQ(messageOf("17\t|OPERATIONS|VIEW|\tA\tdeny\n"),
              "ksrbac: <stdin>:1: not a namespace: \"A\": it does not start with '|'\n");
    EXPECT_EQ(messageOf("# nothing\n"), "ksrbac: <stdin>: there is no decision in it\n");
}

TEST_F(Questions, UsageErrorsEndWithTwo)
{
    const auto messageOf = [this](const std::vector<std::string>& arguments) {
        const auto result = run(arguments);
        EXPECT_EQ(result.exitStatus, 2);
        return result.errors.substr(0, result.errors.find('\n'));
    };
    EXPECT_EQ(messageOf({"check", "--cache=main", "--expect=-", "--roles=1"}),
              "ksrbac: check: --expect takes roles, operations and objects from the table alone");
    EXPECT_EQ(messageOf({"what-can", "--cache=main", "|A|"}),
              "ksrbac: what-can: give either --roles or --session-token-file");
    EXPECT_EQ(messageOf({"who-can", "--cache=main", "--for=|A|", "|OPERATIONS|VIEW|", "|A|"}),
              "ksrbac: who-can: --for is for the service, which --cache does not ask");
    EXPECT_EQ(messageOf({"who-can", "--cache=main", "VIEW", "|A|"}),
              "ksrbac: OPERATION: not a namespace: \"VIEW\": it does not start with '|'");
    EXPECT_EQ(messageOf({"what-can", "--cache=main", "--roles=1"}), "ksrbac: OBJECT is required");
    EXPECT_EQ(messageOf({"what-can", "--cache=main", "--roles=1", "--under=|", "|A|"}),
              "ksrbac: what-can: give either OBJECT or --under");
}

} // namespace
} // namespace keepsafe_test
