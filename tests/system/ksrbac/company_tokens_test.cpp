#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sandbox/support/SandboxRoot.h"
#include "support/PrivatePostgres.h"
#include "support/TokenDatabase.h"

// A session token gives its owner what --roles gives the token's roles, over the whole decision table of the
// example company, whatever the database is.

namespace keepsafe_test {
namespace {

const std::string POLICIES = KEEPSAFE_EXAMPLE_POLICIES;

/// QuestionsAtOnce that one run of the tool can answer: the same roles and operation.
struct QuestionsAtOnce {
    std::vector<std::string> objects;
    std::string answers; ///< as the tool prints them
};
using Table = std::map<std::pair<std::string, std::string>, QuestionsAtOnce>;

Table readTable()
{
    Table table;
    std::ifstream file(POLICIES + "/company-decisions.tsv");
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        std::istringstream columns(line);
        std::string roles;
        std::string operation;
        std::string object;
        std::string decision;
        std::getline(columns, roles, '\t');
        std::getline(columns, operation, '\t');
        std::getline(columns, object, '\t');
        std::getline(columns, decision, '\t');
        QuestionsAtOnce& questions = table[{roles, operation}];
        questions.objects.push_back(object);
        questions.answers += decision.append("\t").append(object).append("\n");
    }
    return table;
}

class CompanyTokens : public testing::TestWithParam<DatabaseKind> {
protected:
    CompanyTokens()
    {
        std::vector<std::string> init{"init"};
        if (GetParam() == DatabaseKind::Postgres) {
            server_ = std::make_unique<PrivatePostgres>();
            init.insert(init.end(), {"--database", server_->connectionString()});
        }
        const ProgramResult made = root_.sandbox(init);
        EXPECT_EQ(made.exitStatus, 0) << made.errors;
        const ProgramResult compiled =
            root_.sandbox({"compile", POLICIES + "/company.json", "--id", "company"});
        EXPECT_EQ(compiled.exitStatus, 0) << compiled.errors;
    }

    [[nodiscard]] ProgramResult check(const std::string& whose, const std::string& operation,
                                      const std::vector<std::string>& objects,
                                      const std::string& input = "") const
    {
        std::vector<std::string> arguments{"check", "--cache=company", "--operation=" + operation, whose};
        arguments.insert(arguments.end(), objects.begin(), objects.end());
        return root_.tool(arguments, input);
    }

    std::unique_ptr<PrivatePostgres> server_;
    SandboxRoot root_;
};

INSTANTIATE_TEST_SUITE_P(Databases, CompanyTokens, allDatabases(), kindName);

TEST_P(CompanyTokens, GiveTheSameAnswersAsTheRolesInThem)
{
    const Table table = readTable();
    EXPECT_GT(table.size(), 50U);
    std::map<std::string, std::string> tokens;
    for (const auto& [key, questions] : table) {
        const auto& [roles, operation] = key;
        std::string& token = tokens[roles];
        if (token.empty()) {
            token = root_.issue(roles);
        }
        const ProgramResult byToken = check("--session-token-file=-", operation, questions.objects, token);
        const ProgramResult byRoles = check("--roles=" + roles, operation, questions.objects);

        EXPECT_EQ(byToken.output, questions.answers) << roles << ' ' << operation;
        EXPECT_EQ(byToken.output, byRoles.output) << roles << ' ' << operation;
        EXPECT_EQ(byToken.errors, byRoles.errors) << roles << ' ' << operation;
        EXPECT_EQ(byToken.exitStatus, byRoles.exitStatus) << roles << ' ' << operation;
    }
}

TEST_P(CompanyTokens, AreRefusedOnceRevoked)
{
    const std::string operation = "|OPERATIONS|VIEW|";
    const std::string token = root_.issue("0");
    EXPECT_EQ(check("--session-token-file=-", operation, {"|KEEPSAFE|"}, token).output,
              "allow\t|KEEPSAFE|\n");
    ASSERT_EQ(root_.sandbox({"token", "revoke", "-"}, token).exitStatus, 0);

    const ProgramResult refused = check("--session-token-file=-", operation, {"|KEEPSAFE|"}, token);
    EXPECT_EQ(refused.output, "");
    EXPECT_EQ(refused.errors, "ksrbac: status 117: no authorization token is stored for the session\n");
    EXPECT_EQ(refused.exitStatus, 3);
}

TEST_P(CompanyTokens, AreKeptWhenTheRootIsMadeAgain)
{
    const std::string token = root_.issue("17,3");
    const ProgramResult again = root_.sandbox({"init"});
    EXPECT_EQ(again.exitStatus, 0) << again.errors;
    EXPECT_NE(again.output.find("the database has the tables of AUTH_MAIN, with 1 tokens and 0 criteria\n"),
              std::string::npos)
        << again.output;
    EXPECT_EQ(root_.tool({"token", "roles", "-"}, token).output, "3\n17\n");
}

TEST_P(CompanyTokens, AreListedWithTheirRoles)
{
    (void)root_.issue("17,3");
    (void)root_.issue("");
    const ProgramResult list = root_.sandbox({"token", "list"});
    EXPECT_NE(list.output.find(R"("roles":[17,3])"), std::string::npos) << list.output;
    EXPECT_NE(list.output.find(R"("roles":[])"), std::string::npos) << list.output;
    EXPECT_EQ(std::count(list.output.begin(), list.output.end(), '\n'), 2);
}

TEST_P(CompanyTokens, StandBesideCriteriaInTheSameDatabase)
{
    const std::vector<std::string> add{"criteria",      "add",  "--collection", "42",
                                       "--object-type", "it's", "--json",       "-"};
    EXPECT_EQ(root_.sandbox(add, "{\"name\": \"a\"}\n").output,
              "added criteria of 13 bytes to the collection 42 for \"it's\"\n");
    EXPECT_EQ(root_.sandbox(add, "[]").exitStatus, 0);
    EXPECT_EQ(root_.sandbox({"criteria", "list"}).output,
              "criteria 1, collection 42, \"it's\": \"{\\\"name\\\": \\\"a\\\"}\"\n"
              "criteria 2, collection 42, \"it's\": \"[]\"\n");
}

} // namespace
} // namespace keepsafe_test
