#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Transcript.h"
#include "sandbox/support/RunningService.h"
#include "sandbox/support/SandboxRoot.h"
#include "support/Process.h"
#include "support/TempDir.h"

// The commands that the documents show, run as they stand there, print what the documents show.

namespace keepsafe_test {
namespace {

constexpr char DOCUMENTED_ROOT[] = "/tmp/ks";
constexpr char DOCUMENTED_ADDRESS[] = "127.0.0.1";

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

/// Without what differs from run to run: identifiers of sessions, points in time, durations, the user, and
/// the revisions of changes, which depend on what other pages show.
std::string withoutChance(const std::string& text)
{
    static const std::regex session("[0-9a-f]{32}");
    static const std::regex time("\"exp\":[0-9]{13}");
    static const std::regex duration("(after|in) [0-9]+ ms");
    static const std::regex revision(" *[0-9]+  [0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z");
    static const std::regex age("last written (now|[0-9]+ s ago)");
    static const std::regex expiry("expires in [0-9]+ d[ 0-9h]*, at [-0-9T:.]+Z");
    static const std::regex owner("(root|user [0-9]+) may write it");
    static const std::regex limit("[0-9]+ (MiB of [0-9]+ MiB free|files open)");
    std::string plain = std::regex_replace(text, session, "SESSION");
    plain = std::regex_replace(plain, time, "\"exp\":TIME");
    plain = std::regex_replace(plain, revision, "REVISION  TIME");
    plain = std::regex_replace(plain, duration, "$1 0 ms");
    plain = std::regex_replace(plain, age, "last written now");
    plain = std::regex_replace(plain, expiry, "expires in some time");
    plain = std::regex_replace(plain, owner, "USER may write it");
    return std::regex_replace(plain, limit, "some");
}

std::vector<Exchange> exchangesOf(const std::string& document)
{
    return exchangesIn(readFile(std::string(KEEPSAFE_SOURCES "/docs/") + document));
}

class Documents : public testing::Test {
protected:
    Documents()
    {
        std::filesystem::create_directory_symlink(KEEPSAFE_SOURCES "/examples", folder_.path("examples"));
    }

    /// What a person sees who types the command in a folder with the examples.
    [[nodiscard]] std::string shown(const std::string& command, const SandboxRoot& root) const
    {
        const std::string typed = replaced(command, DOCUMENTED_ROOT, root.path());
        const std::string onRoot = contains(typed, "--root")
                                       ? ""
                                       : "ksrbac() { command ksrbac --root '" + root.path() + "' \"$@\"; }; ";
        const std::string output =
            runProgram({"sh", "-c",
                        "cd '" + folder_.path() + "' && PATH=" KEEPSAFE_PROGRAMS ":$PATH && exec 2>&1; " +
                            onRoot + typed})
                .output;
        return replaced(output, root.path(), DOCUMENTED_ROOT);
    }

    void expectAsDocumented(const Exchange& exchange, const SandboxRoot& root,
                            const std::string& address = DOCUMENTED_ADDRESS) const
    {
        const std::string output = replaced(shown(exchange.command, root), address, DOCUMENTED_ADDRESS);
        EXPECT_EQ(withoutChance(output), withoutChance(exchange.output)) << exchange.command;
    }

    TempDir folder_;
};

TEST_F(Documents, OfTheSandboxShowWhatItPrints)
{
    const SandboxRoot root;
    int commands = 0;
    for (const Exchange& exchange : exchangesOf("sandbox.md")) {
        if (!contains(exchange.command, " serve ")) {
            expectAsDocumented(exchange, root);
            ++commands;
        }
    }
    EXPECT_GE(commands, 6);
}

TEST_F(Documents, OfTheToolShowWhatItPrints)
{
    const SandboxRoot unconfigured;
    writeFile(unconfigured.path("etc/keepsafe.toml"),
              "[log]\ndestination = \"file:" + folder_.path("log") + "\"\n");
    const std::string document =
        readFile(KEEPSAFE_SOURCES "/docs/ksrbac.md") + readFile(KEEPSAFE_SOURCES "/docs/report.md");
    writeFile(folder_.path("objects.json"), codeBlocksIn(document, "json").at(0));
    RunningService service(KEEPSAFE_SOURCES "/examples/policies/company.json");
    int commands = 0;
    for (const Exchange& exchange : exchangesIn(document)) {
        if (contains(exchange.output, "enforcement is off") || contains(exchange.output, "not configured")) {
            expectAsDocumented(exchange, unconfigured);
        } else if (contains(exchange.output, "cannot be reached")) {
            service.stop();
            expectAsDocumented(exchange, service, service.address());
            service.start();
        } else {
            expectAsDocumented(exchange, service, service.address());
        }
        ++commands;
    }
    EXPECT_GE(commands, 18);
}

TEST_F(Documents, OfQuestionsShowWhatTheToolPrints)
{
    const RunningService service(KEEPSAFE_SOURCES "/examples/policies/company.json");
    int commands = 0;
    for (const Exchange& exchange : exchangesOf("questions.md")) {
        expectAsDocumented(exchange, service, service.address());
        ++commands;
    }
    EXPECT_EQ(commands, 12);
}

TEST_F(Documents, OfSupportShowWhatTheToolPrints)
{
    const RunningService service(KEEPSAFE_SOURCES "/examples/policies/company.json");
    const std::string cache = "wmc/webserver/temp/access-caches/service";
    std::filesystem::create_directory(service.path("yesterday"));
    std::filesystem::copy(service.path(cache), service.path("yesterday/service"));
    ASSERT_EQ(service
                  .tool({"access", "add", "|KEEPSAFE|ASSETS|databases|crm-test|", "--role", "40",
                         "--operations", "|OPERATIONS|RESTORE|", "--propagation", "OBJECT"})
                  .exitStatus,
              0);
    int commands = 0;
    for (const Exchange& exchange : exchangesOf("support.md")) {
        expectAsDocumented(exchange, service, service.address());
        ++commands;
    }
    EXPECT_EQ(commands, 8);
}

TEST_F(Documents, ShowTheLineOfAServiceThatIsReady)
{
    const RunningService service(KEEPSAFE_SOURCES "/examples/policies/company.json");
    const std::string line = replaced(service.output(), service.address(), DOCUMENTED_ADDRESS);
    for (const Exchange& exchange : exchangesOf("sandbox.md")) {
        if (contains(exchange.command, " serve ")) {
            EXPECT_EQ(exchange.output, line);
            return;
        }
    }
    FAIL() << "the document does not show how the service is started";
}

TEST(Transcripts, AreCodeBlocksThatBeginWithAPrompt)
{
    const auto exchanges =
        exchangesIn("text\n```\n$ one\nx\n\n$ two\n```\n```\nno\n$ command\n```\n```json\n$ x\n```\n");
    ASSERT_EQ(exchanges.size(), 2U);
    EXPECT_EQ(exchanges[0].command, "one");
    EXPECT_EQ(exchanges[0].output, "x\n\n");
    EXPECT_EQ(exchanges[1].command, "two");
    EXPECT_EQ(exchanges[1].output, "");
}

} // namespace
} // namespace keepsafe_test
