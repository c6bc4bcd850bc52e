#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/OperationCache.h>

#include "StringSink.h"
#include "support/AccessModel.h"
#include "support/CacheWriter.h"
#include "support/TempDir.h"

// The commands that ask about a whole cache: list, cache dump, cache diff, simulate.

namespace keepsafe_test {
namespace {

using ksrbac::ExitStatus;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::HasSubstr;
using testing::StartsWith;

class QuestionsCommand : public testing::Test {
protected:
    QuestionsCommand()
    {
        writeFile(Tessara::Keepsafe::Rbac::OperationCache::fileName(),
                  R"({"|OPERATIONS|VIEW|": 4, "|OPERATIONS|ADD|": 37})");
        model_.objects[ObjectNamespace()] = {true, {}, {{17, {4}}}};
        model_.objects[ObjectNamespace("A b")] = {true, {{3, {4, 37}}}, {{3, {37}}}};
        model_.objects[ObjectNamespace("closed")] = {false, {}, {}};
        model_.objects[ObjectNamespace("closed", "x")] = {true, {{-5, {4}}}, {}};
        write("main", model_);
    }

    void write(const std::string& id, const AccessModel& model) const
    {
        CacheWriter(model, {}).write(root_.path("wmc/webserver/temp/access-caches/" + id));
    }

    [[nodiscard]] ProgramRun run(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--root", root_.path(), "--log-level", "17"});
        return runProgram(arguments);
    }
    [[nodiscard]] ProgramRun list(std::vector<std::string> more) const
    {
        more.insert(more.begin(), {"list", "--cache", "main", "--operation", "|OPERATIONS|VIEW|"});
        return run(more);
    }

    TempRoot root_;
    AccessModel model_;
};

TEST_F(QuestionsCommand, ListPrintsTheNamesInTheOrderOfTheirBytes)
{
    const auto result = list({"--roles=17"});
    EXPECT_EQ(result.results, "|A+b|\n");
    EXPECT_EQ(result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_EQ(list({"--roles", "0"}).results, "|\n|A+b|\n|closed|\n|closed|x|\n");
    EXPECT_EQ(list({"--roles=-5,3"}).results, "|A+b|\n|closed|x|\n");
}

TEST_F(QuestionsCommand, ListTakesAPartOfTheNames)
{
    EXPECT_EQ(list({"--roles=0", "--under", "|closed|"}).results, "|closed|\n|closed|x|\n");
    EXPECT_EQ(list({"--roles=0", "--after", "|A+b|"}).results, "|closed|\n|closed|x|\n");
    EXPECT_EQ(list({"--roles=0", "--after", "|B|", "--limit", "1"}).results, "|closed|\n");
    EXPECT_EQ(list({"--roles=0", "--limit", "0"}).results, "");
    EXPECT_EQ(list({"--roles=0", "--count"}).results, "4\n");
    EXPECT_EQ(list({"--roles=0", "--count", "--under", "|closed|", "--json"}).results, "{\"count\":2}\n");
    EXPECT_EQ(list({"--roles=17", "--json"}).results, "{\"object\":\"|A+b|\"}\n");
}

TEST_F(QuestionsCommand, ListOfNothingIsNoFailure)
{
    const auto result = list({"--roles="});
    EXPECT_EQ(result.results, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
}

TEST_F(QuestionsCommand, ListNotesAnUnknownOperation)
{
    const auto result = run({"list", "--cache=main", "--operation=|OPERATIONS|NONE|", "--roles=0"});
    EXPECT_EQ(result.results, "");
    EXPECT_THAT(result.messages, HasSubstr("does not know |OPERATIONS|NONE|"));
    EXPECT_EQ(result.status, ExitStatus::Good);
}

TEST_F(QuestionsCommand, ListWithoutEnforcementAndWithoutACacheIsAFailure)
{
    const auto result = run({"list", "--operation=|OPERATIONS|VIEW|", "--roles=0"});
    EXPECT_EQ(result.results, "");
    EXPECT_THAT(result.messages, HasSubstr("enforcement"));
    EXPECT_EQ(result.status, ExitStatus::LibraryFailed);
}

TEST_F(QuestionsCommand, ListRefusesWhatIsNoName)
{
    EXPECT_EQ(list({"--roles=0", "--after", "closed"}).status, ExitStatus::BadInput);
    EXPECT_EQ(list({"--roles=0", "--under", "|closed"}).status, ExitStatus::BadInput);
    EXPECT_EQ(list({}).status, ExitStatus::BadInput);
}

TEST_F(QuestionsCommand, DumpAsATableHasALineForEachGrant)
{
    EXPECT_EQ(run({"cache", "dump", "--format=csv", "main"}).results,
              "object,inherit,role,propagation,operation\n"
              "|,on,17,CHILDREN,|OPERATIONS|VIEW|\n"
              "|A+b|,on,3,OBJECT_AND_CHILDREN,|OPERATIONS|ADD|\n"
              "|A+b|,on,3,OBJECT,|OPERATIONS|VIEW|\n"
              "|closed|,off,,,\n"
              "|closed|x|,on,-5,OBJECT,|OPERATIONS|VIEW|\n");
    EXPECT_THAT(run({"cache", "dump", "--format=tsv", "main"}).results, HasSubstr("|closed|\toff\t\t\t\n"));
    EXPECT_EQ(run({"cache", "dump", "--format=xml", "main"}).status, ExitStatus::BadInput);
}

TEST_F(QuestionsCommand, DumpIsADocumentThatChangesNothing)
{
    const auto dump = run({"cache", "dump", "main"});
    EXPECT_EQ(dump.status, ExitStatus::Good);
    EXPECT_EQ(dump.messages, "");
    writeFile(root_.path("policy.json"), dump.results);
    const auto result = run({"simulate", "--cache=main", "--policy", root_.path("policy.json")});
    EXPECT_EQ(result.results, "");
    EXPECT_EQ(result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
}

TEST_F(QuestionsCommand, DumpNamesOperationsThatTheHostDoesNotKnowByTheirBits)
{
    model_.objects[ObjectNamespace()].own[9] = {100};
    write("main", model_);
    const auto dump = run({"cache", "dump", "main"});
    EXPECT_THAT(dump.results, HasSubstr("\"|OPERATIONS|BIT-100|\": 100"));
    EXPECT_THAT(dump.messages, StartsWith("ksrbac: note: "));
    model_.objects[ObjectNamespace()].own[9] = {-1};
    write("main", model_);
    EXPECT_EQ(run({"cache", "dump", "main"}).status, ExitStatus::LibraryFailed);
}

TEST_F(QuestionsCommand, DiffPrintsContentsAndDecisions)
{
    AccessModel after = model_;
    after.objects[ObjectNamespace()].children.clear();
    after.objects[ObjectNamespace("new")] = {true, {{17, {4}}}, {}};
    after.objects[ObjectNamespace("closed")].inherit = true;
    write("after", after);
    const auto result = run({"cache", "diff", "main", "after"});
    EXPECT_EQ(result.results, "revoked\t|\t17\t|OPERATIONS|VIEW|\tCHILDREN\n"
                              "now-denied\t|\t17\t|OPERATIONS|VIEW|\tCHILDREN\n"
                              "inherit-on\t|closed|\n"
                              "as-before\t|closed|\t17\t|OPERATIONS|VIEW|\tOBJECT_AND_CHILDREN\n"
                              "added\t|new|\n"
                              "granted\t|new|\t17\t|OPERATIONS|VIEW|\tOBJECT\n"
                              "as-before\t|new|\t17\t|OPERATIONS|VIEW|\tOBJECT\n");
    EXPECT_EQ(result.status, ExitStatus::Negative);
    EXPECT_EQ(run({"cache", "diff", "--contents", "--json", "main", "after"}).results,
              "{\"change\":\"revoked\",\"object\":\"|\",\"role\":17,\"operation\":\"|OPERATIONS|VIEW|\","
              "\"propagation\":\"CHILDREN\"}\n"
              "{\"change\":\"inherit-on\",\"object\":\"|closed|\"}\n"
              "{\"change\":\"added\",\"object\":\"|new|\"}\n"
              "{\"change\":\"granted\",\"object\":\"|new|\",\"role\":17,\"operation\":\"|OPERATIONS|VIEW|\","
              "\"propagation\":\"OBJECT\"}\n");
}

TEST_F(QuestionsCommand, DiffOfACacheWithItselfIsEmpty)
{
    const auto result = run({"cache", "diff", "main", "main"});
    EXPECT_EQ(result.results, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
}

TEST_F(QuestionsCommand, SimulateShowsTheDecisionsOfSingleChanges)
{
    const auto simulate = [this](std::vector<std::string> edits) {
        edits.insert(edits.begin(), {"simulate", "--cache", "main"});
        return run(edits);
    };
    EXPECT_EQ(simulate({"--revoke", "17:|OPERATIONS|VIEW|:CHILDREN@|"}).results,
              "now-denied\t|\t17\t|OPERATIONS|VIEW|\tCHILDREN\n"
              "as-before\t|closed|\t17\t|OPERATIONS|VIEW|\tOBJECT_AND_CHILDREN\n");
    EXPECT_EQ(simulate({"--grant", "8:|OPERATIONS|ADD|:OBJECT@|closed|y|"}).results,
              "now-allowed\t|closed|y|\t8\t|OPERATIONS|ADD|\tOBJECT\n");
    EXPECT_EQ(simulate({"--inherit", "|closed|=on"}).results,
              "now-allowed\t|closed|\t17\t|OPERATIONS|VIEW|\tOBJECT_AND_CHILDREN\n");
    EXPECT_EQ(simulate({"--grant", "17:|OPERATIONS|VIEW|:OBJECT@|A+b|"}).status, ExitStatus::Good);
    EXPECT_EQ(simulate({"--revoke", "17:|OPERATIONS|VIEW|@|nowhere|"}).status, ExitStatus::Good);
}

TEST_F(QuestionsCommand, SimulateRefusesWhatItCannotRead)
{
    const auto statusOf = [this](std::vector<std::string> more) {
        more.insert(more.begin(), {"simulate", "--cache", "main"});
        return run(more).status;
    };
    EXPECT_EQ(statusOf({}), ExitStatus::BadInput);
    EXPECT_EQ(statusOf({"--grant", "17:|OPERATIONS|VIEW|"}), ExitStatus::BadInput);
    EXPECT_EQ(statusOf({"--grant", "17:|OPERATIONS|NONE|@|A|"}), ExitStatus::BadInput);
    EXPECT_EQ(statusOf({"--inherit", "|A|"}), ExitStatus::BadInput);
    writeFile(root_.path("policy.json"), "{\"operations\": {}");
    EXPECT_EQ(statusOf({"--policy", root_.path("policy.json")}), ExitStatus::BadInput);
    writeFile(
        root_.path("policy.json"),
        R"({"operations": {"|OPERATIONS|VIEW|": 5}, "roles": [], "objects": [], "accessDefinitions": []})");
    const auto result = run({"simulate", "--cache=main", "--policy", root_.path("policy.json")});
    EXPECT_EQ(result.status, ExitStatus::BadInput);
    EXPECT_THAT(result.messages, HasSubstr("bit 5 is not that of this host's operation cache"));
}

TEST_F(QuestionsCommand, InfoTellsGenerationAgeAndStamp)
{
    const auto text = run({"cache", "info", "main"}).results;
    EXPECT_THAT(text, HasSubstr("generation           unknown"));
    EXPECT_THAT(text, HasSubstr("last change"));
    EXPECT_THAT(text, HasSubstr("stamp"));
    EXPECT_THAT(run({"cache", "info", "--json", "main"}).results, HasSubstr("\"generation\":null"));
}

} // namespace
} // namespace keepsafe_test
