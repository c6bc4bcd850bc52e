#include <csignal>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "MasterServerTest.h"
#include "cli/since.h"
#include "commands/change_text.h"
#include "default_signals.h"

// `ksrbac changes`: what it asks the service, and how it shows the journal.

namespace keepsafe_test {
namespace {

using ksrbac::changeText;
using ksrbac::ExitStatus;
using ksrbac::parseSince;
using Tessara::Keepsafe::Rbac::Change;
using testing::ElementsAre;

const std::string CREATED =
    R"({"type":"change","id":"3-1","attributes":{"revision":3,"time":"2026-01-31T23:59:59.000001Z",)"
    R"("who":"CN=a","what":"roleCreated","object":null,"roleId":8,"before":null,)"
    R"("after":{"id":8,"name":"Tape","description":""}}})";
const std::string ADDED =
    R"({"type":"change","id":"12-1","attributes":{"revision":12,"time":"2026-02-01T00:00:00.000000Z",)"
    R"("who":"CN=\u001b[2J,O=b","what":"accessDefinitionAdded","object":"|A|","roleId":8,"before":null,)"
    R"("after":{"id":"9","object":"|A|","roleId":8,"propagation":"OBJECT","operations":["|O|V|","|O|W|"]}}})";

std::string page(const std::string& changes, const std::string& next = "")
{
    return R"({"data":[)" + changes + "]" +
           (next.empty() ? "" : R"(,"links":{"next":{"href":")" + next + R"("}})") + "}";
}

class ChangesCommand : public MasterServerTest {};

TEST_F(ChangesCommand, PrintsATableOfAllPages)
{
    server_.playNext(answer(200, page(CREATED, "/access-control/changes?after=3-1&limit=1000")));
    server_.playNext(answer(200, page(ADDED)));
    const auto result = run({"changes"});
    EXPECT_EQ(result.results,
              "REVISION  TIME                  WHO   WHAT\n"
              "       3  2026-01-31T23:59:59Z  CN=a  role 8 created: Tape\n"
              "      12  2026-02-01T00:00:00Z  CN=\\x1B[2J,O=b  access definition 9 added: role 8 on |A|, "
              "OBJECT, "
              "|O|V|,|O|W|\n");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_THAT(requests(), ElementsAre("GET " + SERVICE + "changes?limit=1000",
                                        "GET " + SERVICE + "changes?after=3-1&limit=1000"));
}

TEST_F(ChangesCommand, PrintsOneJsonObjectForEachLine)
{
    server_.playNext(answer(200, page(CREATED + ',' + ADDED)));
    EXPECT_EQ(run({"changes", "--json"}).results,
              R"({"revision":3,"id":"3-1","time":"2026-01-31T23:59:59.000001Z","who":"CN=a",)"
              R"("what":"roleCreated","object":null,"roleId":8,"before":null,)"
              R"("after":{"id":8,"name":"Tape","description":""}})"
              "\n"
              R"({"revision":12,"id":"12-1","time":"2026-02-01T00:00:00.000000Z","who":"CN=\u001b[2J,O=b",)"
              R"("what":"accessDefinitionAdded","object":"|A|","roleId":8,"before":null,)"
              R"("after":{"id":"9","object":"|A|","roleId":8,"propagation":"OBJECT",)"
              R"("operations":["|O|V|","|O|W|"]}})"
              "\n");
}

TEST_F(ChangesCommand, WithoutAnyEndsWith0)
{
    server_.playAlways(answer(200, page("")));
    const auto result = run({"changes", "--since", "12", "--object", "|A b|", "--role", "0", "--limit", "5"});
    EXPECT_EQ(result.results, "REVISION  TIME  WHO  WHAT\n");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_EQ(run({"changes", "--json"}).results, "");
    EXPECT_EQ(requests().front(), "GET " + SERVICE + "changes?since=12&object=%7CA%2Bb%7C&role=0&limit=5");
}

TEST_F(ChangesCommand, StopsAtTheLimit)
{
    server_.playAlways(answer(200, page(CREATED + ',' + ADDED, "/access-control/changes?after=12-1")));
    EXPECT_EQ(run({"changes", "--json", "--limit", "1"}).results.find("\"id\":\"12-1\""), std::string::npos);
    EXPECT_EQ(requests().size(), 1U);
    EXPECT_EQ(run({"changes", "--limit", "0"}).results, "REVISION  TIME  WHO  WHAT\n");
}

std::string quiet(int lastRevision)
{
    return R"({"data":[],"meta":{"lastRevision":)" + std::to_string(lastRevision) + "}}";
}

const std::string BEHIND = "-2147483647";

TEST_F(ChangesCommand, FollowedBeginWithWhatComesAfterTheLastRevision)
{
    server_.playNext(answer(200, quiet(2)));
    server_.playNext(answer(200, quiet(2)));
    server_.playNext(answer(200, page(CREATED)));
    const auto result = run({"changes", "--follow", "--limit", "1"});
    EXPECT_EQ(result.results,
              "REVISION  TIME                  WHO                       WHAT\n"
              "       3  2026-01-31T23:59:59Z  CN=a                      role 8 created: Tape\n");
    EXPECT_EQ(result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
    const std::string poll = "GET " + SERVICE + "changes?limit=1&after=2" + BEHIND;
    EXPECT_THAT(requests(),
                ElementsAre("GET " + SERVICE + "changes?since=999999999999999999&limit=1", poll, poll));
}

TEST_F(ChangesCommand, FollowedPrintEachOnceAndGoOnBehindWhatWasLookedAt)
{
    server_.playNext(answer(200, page(CREATED, "/access-control/changes?after=3-1")));
    server_.playNext(answer(200, quiet(3)));
    server_.playNext(answer(200, quiet(11)));
    server_.playNext(answer(200, page(ADDED)));
    const auto result =
        run({"changes", "--json", "--follow", "--since", "2026-01-31", "--role", "8", "--limit", "2"});
    EXPECT_THAT(result.results, testing::MatchesRegex("\\{\"revision\":3,.*\\}\n\\{\"revision\":12,.*\\}\n"));
    EXPECT_THAT(requests(),
                ElementsAre("GET " + SERVICE + "changes?since=2026-01-31T00%3A00%3A00Z&role=8&limit=2",
                            "GET " + SERVICE + "changes?after=3-1",
                            "GET " + SERVICE + "changes?role=8&limit=2&after=3-1",
                            "GET " + SERVICE + "changes?role=8&limit=2&after=11" + BEHIND));
}

TEST_F(ChangesCommand, FollowedNoteThatTheServiceIsAwayAndBackOnce)
{
    server_.playNext(answer(200, quiet(2)));
    server_.playNext(answer(200, quiet(2)));
    server_.playNext(answer(503, ""));
    server_.playNext(answer(503, ""));
    server_.playNext(answer(200, page(CREATED)));
    const auto result = run({"changes", "--follow", "--json", "--limit", "1"});
    EXPECT_THAT(
        result.messages,
        testing::MatchesRegex("\\{\"note\":\"changes: [^\n]*503[^\n]*; asking again until it answers\"\\}\n"
                              "\\{\"note\":\"changes: the service answers again\"\\}\n"));
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_EQ(requests().size(), 5U);
}

TEST_F(ChangesCommand, FollowedEndWhenTheServiceRefusesOrIsAwayAtFirst)
{
    server_.playNext(answer(503, ""));
    EXPECT_EQ(run({"changes", "--follow", "--since", "1"}).status, ExitStatus::LibraryFailed);
    server_.playNext(answer(200, quiet(2)));
    server_.playNext(answer(200, quiet(2)));
    server_.playNext(answer(400, R"({"errorCode":20,"errorMessage":"no"})"));
    EXPECT_EQ(run({"changes", "--follow"}).status, ExitStatus::LibraryFailed);
    server_.playNext(answer(200, page("")));
    EXPECT_EQ(messageOf({"changes", "--follow"}, ExitStatus::LibraryFailed),
              "changes: the service does not tell its last revision: give --since with --follow");
}

TEST_F(ChangesCommand, FollowedEndAtOnceBySignalsAlsoWhileTheServiceIsSilent)
{
    useDefaultSignals();
    for (const int signal : {SIGINT, SIGTERM}) {
        server_.playNext(answer(200, quiet(2)));
        server_.playNext(answer(200, quiet(2)));
        server_.playAlways(silence());
        const std::size_t before = requests().size();
        const pid_t tool = ::fork();
        if (tool == 0) {
            ::_exit(static_cast<int>(run({"changes", "--follow"}).status));
        }
        int status = 0;
        pid_t ended = 0;
        while (requests().size() < before + 3 && ended == 0) {
            ended = ::waitpid(tool, &status, WNOHANG);
        }
        ASSERT_EQ(ended, 0) << status;
        ASSERT_EQ(::kill(tool, signal), 0);
        ASSERT_EQ(::waitpid(tool, &status, 0), tool);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
}

TEST_F(ChangesCommand, BadArgumentsAreToldBeforeAnythingIsSent)
{
    EXPECT_EQ(
        messageOf({"changes", "--since", "yesterday"}, ExitStatus::BadInput),
        "--since: not a duration (90m, 24h, 7d), a date or time (2026-01-31, 2026-01-31T12:00:00Z) or a "
        "revision: \"yesterday\"");
    EXPECT_EQ(messageOf({"changes", "--object", "A"}, ExitStatus::BadInput),
              "--object: not a namespace: \"A\": it does not start with '|'");
    EXPECT_EQ(requests().size(), 0U);
}

TEST_F(ChangesCommand, OfAServiceWithoutAJournalIsARefusal)
{
    server_.playAlways(answer(404, R"({"errorCode":20,"errorMessage":"there is no resource \"x\""})"));
    EXPECT_THAT(messageOf({"changes"}, ExitStatus::LibraryFailed),
                testing::StartsWith("changes: status 20: an argument has a value that is not allowed (HTTP "
                                    "status 404: there is no resource"));
}

TEST(Since, TakesDurationsBackFromNow)
{
    const std::chrono::system_clock::time_point now(
        std::chrono::seconds(1'000'000'000)); // 2001-09-09T01:46:40Z
    EXPECT_EQ(parseSince("S", "40s", now), "2001-09-09T01:46:00.000Z");
    EXPECT_EQ(parseSince("S", "90m", now), "2001-09-09T00:16:40.000Z");
    EXPECT_EQ(parseSince("S", "24h", now), "2001-09-08T01:46:40.000Z");
    EXPECT_EQ(parseSince("S", "7d", now), "2001-09-02T01:46:40.000Z");
    EXPECT_EQ(parseSince("S", "1w", now), "2001-09-02T01:46:40.000Z");
}

TEST(Since, TakesTimesDatesAndRevisions)
{
    for (const char* same : {"0", "12", "2026-01-31T12:00:00Z", "2026-01-31T12:00:00.5+01:00"}) {
        EXPECT_EQ(parseSince("S", same), same);
    }
    EXPECT_EQ(parseSince("S", "2026-01-31"), "2026-01-31T00:00:00Z");
    for (const std::string none :
         {"", "-1", "1h30m", "h", "24H", "1234567h", "2026-1-31", "2026-01-31 12:00:00Z", "12 "}) {
        EXPECT_THROW(parseSince("S", none), ksrbac::InputError) << none;
    }
    EXPECT_THROW(parseSince("S", std::string(100'000, '1')), ksrbac::InputError);
}

std::string textOf(const std::string& what, const std::string& before, const std::string& after)
{
    const std::string resource =
        R"({"type":"change","id":"1-1","attributes":{"revision":1,"time":"","who":"",)"
        R"("object":null,"roleId":null,"what":")" +
        what + R"(","before":)" + before + R"(,"after":)" + after + "}}";
    const boost::shared_ptr<json_t> document = Tessara::Keepsafe::Rbac::json_loads_shared(resource);
    return changeText(Change(document.get()));
}

TEST(ChangeText, SaysWhatWasDone)
{
    const std::string role = R"({"id":8,"name":"a","description":""})";
    const std::string object = R"({"object":"|A|","objectType":"vm","inherit":false,"state":"READY"})";
    EXPECT_EQ(textOf("journalBegun", "null", "null"), "the journal begins");
    EXPECT_EQ(textOf("roleChanged", role, R"({"id":8,"name":"b\u001b","description":""})"),
              "role 8 changed: a is now b\\x1B");
    EXPECT_EQ(textOf("roleChanged", role, R"({"id":8,"name":"a","description":"x"})"),
              "role 8 changed: a, its description");
    EXPECT_EQ(textOf("roleDeleted", role, "null"), "role 8 deleted: a");
    EXPECT_EQ(textOf("objectRegistered", "null", object), "object |A| registered");
    EXPECT_EQ(textOf("objectDeleted", object, "null"), "object |A| deleted");
    EXPECT_EQ(textOf("inheritanceSet", object, object), "object |A| does not inherit");
    EXPECT_EQ(textOf("operationDeleted", R"({"operation":"|O|V|","bit":3})", "null"),
              "operation |O|V| deleted");
    EXPECT_EQ(textOf("imported", "{}", R"({"roles":1,"operations":2,"objects":3,"accessDefinitions":4})"),
              "policy imported: 1 roles, 2 operations, 3 objects, 4 access definitions");
    EXPECT_EQ(textOf("soon\\n", "null", "null"), "soon\\x0A") << "of a later service";
}

TEST(ChangeText, OfWhatIsMalformedShowsNothing)
{
    EXPECT_EQ(textOf("accessDefinitionAdded", "null", R"({"id":1,"operations":[2],"roleId":"x"})"),
              "access definition  added: role 0 on , , ");
    EXPECT_EQ(textOf("objectReady", "7", "[]"), "object  ready");
}

} // namespace
} // namespace keepsafe_test
