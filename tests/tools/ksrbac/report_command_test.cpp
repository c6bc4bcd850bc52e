#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <keepsafe/cache/OperationCache.h>

#include "StringSink.h"
#include "report/html.h"
#include "support/AccessModel.h"
#include "support/CacheWriter.h"
#include "support/TempDir.h"

// ksrbac report, as far as no browser is needed: tests/system/report has one.

namespace keepsafe_test {
namespace {

using ksrbac::ExitStatus;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ReportCommand : public testing::Test {
protected:
    ReportCommand()
    {
        writeFile(Tessara::Keepsafe::Rbac::OperationCache::fileName(),
                  R"({"|OPERATIONS|VIEW|": 4, "|OPERATIONS|ADD|": 37})");
        model_.objects[ObjectNamespace("A b")] = {true, {{3, {4, 37}}}, {{17, {37}}}};
        model_.objects[ObjectNamespace("closed")] = {false, {}, {}};
        model_.objects[ObjectNamespace("closed", "x", "y")] = {true, {{-5, {4}}}, {}};
        write("main", model_);
    }

    void write(const std::string& id, const AccessModel& model) const
    {
        CacheWriter(model, {}).write(root_.path("wmc/webserver/temp/access-caches/" + id));
    }

    [[nodiscard]] ProgramRun report(std::vector<std::string> more) const
    {
        more.insert(more.begin(), {"--root", root_.path(), "--log-level", "17", "report", "--cache", "main"});
        return runProgram(more);
    }
    /// The page on standard output.
    [[nodiscard]] std::string page(std::vector<std::string> more = {}) const
    {
        more.insert(more.end(), {"--output", "-"});
        return report(more).results;
    }
    [[nodiscard]] std::string file(const std::string& name) const { return folder_.path(name); }
    [[nodiscard]] std::size_t filesInFolder() const
    {
        std::size_t files = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
            ++files;
        }
        return files;
    }

    TempRoot root_;
    TempDir folder_;
    AccessModel model_;
};

TEST_F(ReportCommand, HoldsTheObjectsTheirStatesAndTheirGrants)
{
    const std::string text = page();
    EXPECT_THAT(text, HasSubstr(R"("operations":[["|OPERATIONS|ADD|",37],["|OPERATIONS|VIEW|",4]])"));
    EXPECT_THAT(text, HasSubstr("\"names\":\"A+b|closed|x|y|\",\n"
                                "\"ascents\":[0,0,1,0,0],\n"
                                "\"objects\":[0,1,2,0,3],\n"
                                "\"states\":[[1,0,1],[0,2,2],[1,3,2]],\n"
                                "\"sets\":[[3,0,16,3,1,32],[17,1,32],[],[-5,0,16]],\n"
                                "\"changes\":[]}"));
    EXPECT_THAT(text, HasSubstr("\"before\":null"));
}

TEST_F(ReportCommand, HoldsTheDifferencesWithTheNamesThatOnlyTheOtherCacheHas)
{
    AccessModel before = model_;
    before.objects[ObjectNamespace("closed")].inherit = true;
    before.objects[ObjectNamespace("gone", "z")] = {true, {{3, {4}}}, {}};
    before.objects[ObjectNamespace("A b")].own.clear();
    write("before", before);
    // Node, kind, scope, role, bit: two grants and two decisions, inherit-off, removed, revoked, now denied.
    const std::string text = page({"--compare", "before"});
    EXPECT_THAT(text, HasSubstr("\"names\":\"A+b|closed|x|y|gone|z|\",\n\"ascents\":[0,0,1,0,0,3,0],\n"
                                "\"objects\":[0,1,2,0,3,0,0]"));
    EXPECT_THAT(text, HasSubstr("\"changes\":[1,4,0,3,4,1,4,0,3,37,1,6,0,3,4,1,6,0,3,37,2,3,0,0,0,"
                                "6,1,0,0,0,6,5,0,3,4,6,7,0,3,4]}"));
    EXPECT_THAT(text, HasSubstr("\"before\":{\"id\":\"before\""));
}

TEST_F(ReportCommand, IsTheSameForTheSameCache)
{
    const std::string text = page();
    EXPECT_THAT(text, StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(text, EndsWith("</html>\n"));
    EXPECT_EQ(page(), text);
    ASSERT_EQ(report({"--output", file("page.html")}).status, ExitStatus::Good);
    EXPECT_EQ(readFile(file("page.html")), text);
}

TEST_F(ReportCommand, PermitsItsOwnStyleAndScriptAlone)
{
    const std::string text = page();
    const auto between = [&](const std::string& begin, const std::string& end) {
        const std::size_t at = text.find(begin) + begin.size();
        return text.substr(at, text.find(end, at) - at);
    };
    const std::string policy = between("http-equiv=\"Content-Security-Policy\" content=\"", "\"");
    EXPECT_EQ(policy, "default-src 'none'; style-src " + ksrbac::hashSource(between("<style>", "</style>")) +
                          "; script-src " + ksrbac::hashSource(between("</script>\n<script>", "</script>")) +
                          "; base-uri 'none'; form-action 'none'; require-trusted-types-for 'script'; "
                          "trusted-types 'none'");
    for (const char* const reference : {"http:", "https:", "src=", "href=", "url(", "@import"}) {
        EXPECT_THAT(text, Not(HasSubstr(reference)));
    }
}

TEST_F(ReportCommand, TextsFromElsewhereAreNeverMarkup)
{
    writeFile(file("names"), "3\t</script><b>\x1b[1m\xe2\x80\xae\n\n17\tM\xc3\xbcller & Co\n");
    const std::string text = page({"--title", "<b>\"&'\xff\n", "--role-names-from", file("names")});
    EXPECT_THAT(text, HasSubstr("<h1>&lt;b&gt;&quot;&amp;&#39;\\xFF\\x0A</h1>"));
    EXPECT_THAT(text, HasSubstr("\"roles\":[[3,\"\\u003c/script\\u003e\\u003cb\\u003e\\u001b[1m\\u202e\"],"
                                "[17,\"M\xc3\xbcller \\u0026 Co\"]]"));
    EXPECT_THAT(text, Not(HasSubstr("<b>")));
}

TEST_F(ReportCommand, RefusesNamesOfRolesThatItCannotRead)
{
    const auto messageFor = [this](const std::string& lines) {
        writeFile(file("names"), lines);
        const ProgramRun run = report({"--role-names-from", file("names"), "--output", "-"});
        EXPECT_EQ(run.status, ExitStatus::BadInput) << lines;
        EXPECT_EQ(run.results, "");
        return run.messages;
    };
    EXPECT_THAT(messageFor("3 three\n"),
                HasSubstr("names:1: not a role's id, a tab and its name: \"3 three\""));
    EXPECT_THAT(messageFor("3\tx\nthree\tx\n"), HasSubstr("names:2: not the id of a role: \"three\""));
    EXPECT_THAT(messageFor("3,4\tx\n"), HasSubstr("names:1: not the id of a role: \"3,4\""));
    EXPECT_THAT(messageFor("\tx\n"), HasSubstr("names:1: not the id of a role: \"\""));
    EXPECT_THAT(messageFor("2147483648\tx\n"), HasSubstr("names:1, \"2147483648\", does not fit 32 bits"));
    EXPECT_THAT(messageFor("3\tx\n3\ty\n"), HasSubstr("names:2: role 3 is named twice"));
}

TEST_F(ReportCommand, FileHasItsModeWhateverTheUmaskIs)
{
    const mode_t umaskBefore = ::umask(0177);
    const ProgramRun run = report({"--output", file("page.html")});
    ::umask(umaskBefore);
    EXPECT_EQ(run.status, ExitStatus::Good);
    EXPECT_EQ(run.results + run.messages, "");
    struct stat status = {};
    ASSERT_EQ(::stat(file("page.html").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
    EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(ReportCommand, TakesThePlaceOfALinkAndNotOfWhatItLeadsTo)
{
    writeFile(file("precious"), "as it was");
    std::filesystem::create_symlink(file("precious"), file("page.html"));
    EXPECT_EQ(report({"--output", file("page.html")}).status, ExitStatus::Good);
    EXPECT_EQ(readFile(file("precious")), "as it was");
    EXPECT_FALSE(std::filesystem::is_symlink(file("page.html")));
}

TEST_F(ReportCommand, FailureLeavesTheFileAsItWas)
{
    writeFile(file("page.html"), "as it was");
    EXPECT_EQ(report({"--compare", "nosuch", "--output", file("page.html")}).status,
              ExitStatus::LibraryFailed);
    EXPECT_EQ(readFile(file("page.html")), "as it was");
    EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(ReportCommand, SaysWhyAFileCannotBeWritten)
{
    const ProgramRun missing = report({"--output", file("no/page.html")});
    EXPECT_EQ(missing.status, ExitStatus::BadInput);
    EXPECT_THAT(missing.messages, HasSubstr("No such file or directory"));
    EXPECT_EQ(report({"--output", folder_.path()}).status, ExitStatus::BadInput);
    const ProgramRun full = report({"--output", "/dev/full"});
    EXPECT_EQ(full.status, ExitStatus::OutputFailed);
    EXPECT_EQ(full.messages, "ksrbac: cannot write /dev/full: No space left on device\n");
}

TEST_F(ReportCommand, SaysInJsonWhyAFileCannotBeWritten)
{
    const ProgramRun full = report({"--json", "--output", "/dev/full"});
    EXPECT_EQ(full.status, ExitStatus::OutputFailed);
    EXPECT_EQ(full.messages, R"({"error":{"command":"report","kind":"output","exitStatus":4,)"
                             R"("message":"cannot write /dev/full: No space left on device"}})"
                             "\n");
}

} // namespace
} // namespace keepsafe_test
