#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/OperationCache.h>

#include "MasterServerTest.h"
#include "commands/commands.h"
#include "completion/Completion.h"
#include "completion/ShellWords.h"
#include "support/AccessModel.h"
#include "support/CacheWriter.h"

// What is offered at the cursor; tests/system runs the shells themselves.

namespace keepsafe_test {
namespace {

using ksrbac::ShellWords;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(ShellWordsOfBash, AreWhatTheShellWouldPass)
{
    const ShellWords words =
        ShellWords::ofBashLine("ksrbac  check --operation '|O|' \"a b\" c\\ d '' ab'c d'");
    EXPECT_THAT(words.before, ElementsAre("ksrbac", "check", "--operation", "|O|", "a b", "c d", ""));
    EXPECT_EQ(words.current, "abc d");
    EXPECT_TRUE(words.endsWithQuote);
}

TEST(ShellWordsOfBash, TheWordAtTheCursorMayHaveAnOpenQuote)
{
    const ShellWords words = ShellWords::ofBashLine("ksrbac object get '|A|b");
    EXPECT_EQ(words.current, "|A|b");
    EXPECT_EQ(words.openQuote, '\'');
    EXPECT_EQ(words.forBash("|A|b's|"), "|A|b'\\''s|");
    EXPECT_EQ(ShellWords::ofBashLine("ksrbac object get \"|A$").forBash("|A$`\"\\|"), "|A\\$\\`\\\"\\\\|");
}

TEST(ShellWordsOfBash, WithoutAQuoteATextThatNeedsOneGetsIt)
{
    const ShellWords words = ShellWords::ofBashLine("ksrbac role get Res");
    EXPECT_EQ(words.forBash("Restore operator"), "'Restore operator'");
    EXPECT_EQ(words.forBash("O'Neill"), "'O'\\''Neill'");
    EXPECT_EQ(words.forBash("Auditor"), "Auditor");
}

TEST(ShellWordsOfBash, OnlyWhatTheLineEditorReplacesIsOffered)
{
    EXPECT_EQ(ShellWords::ofBashLine("ksrbac check --roles=Aud").forBash("--roles=Auditor"), "Auditor");
    EXPECT_EQ(ShellWords::ofBashLine("ksrbac check --operation='|O").forBash("--operation=|O|X|"), "|O|X|");
    EXPECT_EQ(ShellWords::ofBashLine("ksrbac x 17:'|O").forBash("17:|O|X|"), "|O|X|");
}

TEST(ShellWordsOfOthers, AreTakenAsTheyAre)
{
    EXPECT_EQ(ShellWords::ofWords({"ksrbac", "who-can", "|O'|"}, false).current, "|O'|");
    EXPECT_THAT(ShellWords::ofWords({"ksrbac", "who-can", "|O"}, false).before,
                ElementsAre("ksrbac", "who-can"));
}

TEST(ShellWordsOfOthers, MayHaveQuotesAtTheCursor)
{
    EXPECT_EQ(ShellWords::ofWords({"ksrbac", "--roles='a b, c"}, true).current, "--roles=a b, c");
    EXPECT_EQ(ShellWords::ofWords({"ksrbac", "\\|O\\|a|b c"}, true).current, "|O|a|b c");
}

TEST(ShellWordsOfBash, AreThoseOfTheLastCommandOfTheLine)
{
    EXPECT_THAT(ShellWords::ofBashLine("echo a | ksrbac role g").before, ElementsAre("ksrbac", "role"));
}

/// The service knows roles, and the host a cache and operations.
class CompletionTest : public MasterServerTest {
protected:
    CompletionTest()
    {
        server_.playAlways(answer(
            200, R"({"data":[{"type":"accessControlRole","id":"3","attributes":{"name":"Auditor"}},)"
                 R"({"type":"accessControlRole","id":"17","attributes":{"name":"Restore, operator's"}}]})"));
        writeFile(Tessara::Keepsafe::Rbac::OperationCache::fileName(),
                  R"({"|O|VIEW|":4,"|O|ADD|":5,"|P|X|":6})");
        AccessModel model;
        for (const char* name : {"a", "b"}) {
            model.objects[ObjectNamespace("K", "vms", name)] = {true, {}, {}};
        }
        model.objects[ObjectNamespace("K")] = {true, {}, {}};
        model.objects[ObjectNamespace("K", "dbs")] = {true, {}, {}};
        CacheWriter(model, {}).write(root_.path("wmc/webserver/temp/access-caches/main"));
        AccessModel other;
        other.objects[ObjectNamespace("K", "tapes")] = {true, {}, {}};
        CacheWriter(other, {}).write(root_.path("wmc/webserver/temp/access-caches/other"));
    }

    /// The last of the words is the one at the cursor.
    [[nodiscard]] static ksrbac::Completion complete(std::vector<std::string> words)
    {
        const std::string current = words.back();
        words.back() = "";
        words.insert(words.begin(), "ksrbac");
        words.pop_back();
        ShellWords typed;
        typed.before = words;
        typed.current = current;
        return ksrbac::answer(ksrbac::understand(typed, ksrbac::commandTable()));
    }
    [[nodiscard]] static std::vector<std::string> offered(const std::vector<std::string>& words)
    {
        std::vector<std::string> texts;
        for (const ksrbac::Candidate& candidate : complete(words).candidates) {
            texts.push_back(candidate.text);
        }
        return texts;
    }
    [[nodiscard]] static ksrbac::Completion::Also also(const std::vector<std::string>& words)
    {
        return complete(words).also;
    }
};

TEST_F(CompletionTest, OffersCommandsThatAreNotHidden)
{
    EXPECT_THAT(offered({"c"}), ElementsAre("check", "cache", "changes"));
    EXPECT_THAT(offered({"--log-level", "4", "op"}), ElementsAre("operation"));
    EXPECT_THAT(offered({"cache", ""}), ElementsAre("info", "dump", "diff", "verify"));
    EXPECT_EQ(complete({"role", "u"}).candidates.front().description,
              "Change the name or the description of a role.");
}

TEST_F(CompletionTest, OffersOptionsOfTheCommandAndOfTheProgram)
{
    EXPECT_THAT(offered({"cache", "verify", "--"}),
                ElementsAre("--help", "--max-faults", "--version", "--root", "--json", "--log-level",
                            "--wait", "--detailed-exit-status", "--color"));
    EXPECT_THAT(offered({"check", "--ro"}), ElementsAre("--roles", "--role-names", "--root"));
}

TEST_F(CompletionTest, OffersTheWordsOfAChoice)
{
    EXPECT_THAT(offered({"object", "set-inherit", "|K|", "o"}), ElementsAre("on", "off"));
    EXPECT_THAT(offered({"cache", "dump", "--format", ""}), ElementsAre("json", "csv", "tsv"));
    EXPECT_THAT(offered({"--color=a"}), ElementsAre("--color=auto", "--color=always"));
    EXPECT_THAT(offered({"access", "add", "|K|", "--propagation", "OBJ"}),
                ElementsAre("OBJECT", "OBJECT_AND_CHILDREN"));
}

TEST_F(CompletionTest, LeavesPathsToTheShell)
{
    using Also = ksrbac::Completion::Also;
    EXPECT_EQ(also({"check", "--objects-from", ""}), Also::Files);
    EXPECT_EQ(also({"token", "show", ""}), Also::Files);
    EXPECT_EQ(also({"check", "--root", ""}), Also::Directories);
    EXPECT_EQ(also({"object", "unregister", "--exec", ""}), Also::Programs);
    EXPECT_EQ(also({"cache", "info", "ma"}), Also::Directories);
    EXPECT_THAT(offered({"cache", "info", "ma"}), ElementsAre("main"));
}

TEST_F(CompletionTest, OffersTheOperationsOfTheHost)
{
    EXPECT_THAT(offered({"check", "--operation", "|O|"}), ElementsAre("|O|ADD|", "|O|VIEW|"));
    EXPECT_THAT(offered({"check", "--operation=|P"}), ElementsAre("--operation=|P|X|"));
    EXPECT_THAT(offered({"who-can", ""}), ElementsAre("|O|ADD|", "|O|VIEW|", "|P|X|"));
    EXPECT_THAT(offered({"access", "add", "|K|", "--operations", "|O|ADD|,|O|V"}),
                ElementsAre("|O|ADD|,|O|VIEW|"));
}

TEST_F(CompletionTest, OffersTheRolesOfTheService)
{
    EXPECT_THAT(offered({"role", "get", ""}), ElementsAre("Auditor", "Restore%2C operator's"));
    EXPECT_THAT(offered({"role", "get", "1"}), ElementsAre("17"));
    EXPECT_EQ(complete({"role", "get", "A"}).candidates.front().description, "role 3");
    EXPECT_THAT(offered({"check", "--roles", "17,A"}), ElementsAre("17,Auditor"));
}

TEST_F(CompletionTest, OffersObjectsLevelByLevel)
{
    EXPECT_THAT(offered({"object", "get", ""}), ElementsAre("|K|", "|K|dbs|", "|K|tapes|", "|K|vms|"));
    EXPECT_THAT(offered({"list", "--cache", "main", "--under", "|K|"}),
                ElementsAre("|K|", "|K|dbs|", "|K|vms|"));
    EXPECT_THAT(offered({"list", "--cache=other", "--under", "|K"}), ElementsAre("|K|tapes|"));
}

TEST_F(CompletionTest, ASingleLevelComesWithWhatIsBelowIt)
{
    EXPECT_THAT(offered({"check", "--cache=main", "|K|v"}), ElementsAre("|K|vms|a|", "|K|vms|b|"));
    EXPECT_THAT(offered({"check", "--cache=main", "|K|dbs|", "|K|d"}), ElementsAre("|K|dbs|"));
    EXPECT_THAT(offered({"check", "--cache=main", "|X"}), IsEmpty());
}

TEST_F(CompletionTest, OffersTheOnlyObjectsOfALevelWithManyBelow)
{
    AccessModel model;
    for (int i = 0; i < 3000; ++i) {
        model.objects[ObjectNamespace("big", i < 1500 ? "x" : "y", std::to_string(i))] = {true, {}, {}};
    }
    CacheWriter(model, {}).write(root_.path("wmc/webserver/temp/access-caches/big"));
    EXPECT_THAT(offered({"check", "--cache=big", "|b"}), ElementsAre("|big|x|", "|big|y|"));
}

TEST_F(CompletionTest, OffersThePartsOfAGrant)
{
    EXPECT_THAT(offered({"object", "register", "--grant", "A"}),
                ElementsAre("Auditor:", "Auditor:|O|ADD|", "Auditor:|O|VIEW|", "Auditor:|P|X|"));
    EXPECT_THAT(offered({"object", "register", "--grant", "3:|O|ADD|,|P"}), ElementsAre("3:|O|ADD|,|P|X|"));
    EXPECT_THAT(offered({"object", "register", "--grant", "3:|O|ADD|:C"}), ElementsAre("3:|O|ADD|:CHILDREN"));
    EXPECT_THAT(offered({"simulate", "--cache=other", "--revoke", "3:|P|X|@|"}),
                ElementsAre("3:|P|X|@|K|tapes|"));
    EXPECT_THAT(offered({"simulate", "--cache=other", "--inherit", "|K|=o"}),
                ElementsAre("|K|=on", "|K|=off"));
}

TEST_F(CompletionTest, OffersNothingForFreeText)
{
    EXPECT_THAT(offered({"role", "create", "A"}), IsEmpty());
    EXPECT_THAT(offered({"role", "get", "3", "A"}), IsEmpty());
    EXPECT_THAT(offered({"object", "register", "--child", "|"}), IsEmpty());
}

TEST_F(CompletionTest, TheCommandPrintsWhatAShellNeeds)
{
    const std::string line = "ksrbac --root " + root_.path() + " role get R";
    EXPECT_EQ(runProgram({"complete", "bash", "--", line}).results, "words\n'Restore%2C operator'\\''s'\n");
    EXPECT_EQ(
        runProgram({"complete", "zsh", "--", "ksrbac", "--root", root_.path(), "role", "get", "Au"}).results,
        "words\nAuditor\trole 3\n");
    EXPECT_EQ(
        runProgram({"complete", "fish", "--", "ksrbac", "--root", root_.path(), "who-can", "'|P|"}).results,
        "words\n|P|X|\n");
    EXPECT_EQ(runProgram({"complete", "fish", "--", "ksrbac", "token", "show", ""}).results, "files\n");
}

TEST_F(CompletionTest, TheCommandIsSilentWhenNothingCanBeFoundOut)
{
    server_.playAlways(answer(503, ""));
    writeFile(root_.configurationFile, "nonsense");
    for (const char* rest :
         {" role get ", " role list --filter ", " object get '|", " nonsense ", " --root"}) {
        const std::string line = "ksrbac --root " + root_.path() + rest;
        const ProgramRun result = runProgram({"complete", "bash", "--", line});
        EXPECT_EQ(result.messages, "") << line;
        EXPECT_EQ(result.status, ksrbac::ExitStatus::Good) << line;
    }
}

} // namespace
} // namespace keepsafe_test
