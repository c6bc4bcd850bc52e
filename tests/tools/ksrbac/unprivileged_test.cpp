#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <grp.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "StringSink.h"
#include "support/AccessModel.h"
#include "support/CacheWriter.h"
#include "support/Process.h"
#include "support/TempDir.h"

// What a user gets who may read the caches and no more.

namespace keepsafe_test {
namespace {

namespace fs = std::filesystem;
using ksrbac::ExitStatus;

constexpr uid_t NOBODY = 65534;

/// Not the one that starts a program: the tool runs within this process.
ProgramRun (*const runTool)(const std::vector<std::string>&) = runProgram;

class Unprivileged : public testing::Test {
protected:
    Unprivileged()
    {
        using Tessara::Keepsafe::Rbac::ObjectNamespace;
        AccessModel model;
        model.objects[ObjectNamespace("A")].own = {{17, {3}}};
        CacheWriter(model, {}).write(temp("access-caches/main"));
        writeFile(temp("operation-cache.json"), R"({"|OPERATIONS|VIEW|": 3})");
        writeFile(temp("operation-cache.json.lck"), "");
        writeFile(configuration(), "[features]\nenabled = [1]\n");
        letReadOnly(root_.path());
        fs::permissions(configuration(), fs::perms::none); // also where the tests do not run as root
    }

    [[nodiscard]] std::string temp(const std::string& name) const
    {
        return root_.path("wmc/webserver/temp/" + name);
    }
    [[nodiscard]] std::string configuration() const { return root_.path("etc/keepsafe.toml"); }

    static void letReadOnly(const std::string& folder)
    {
        fs::permissions(folder, fs::perms(0755));
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            fs::permissions(entry.path(), entry.is_directory() ? fs::perms(0755) : fs::perms(0644));
        }
    }

    /// Whether the command gives that in a process of a user without rights.
    [[nodiscard]] bool gives(const std::vector<std::string>& command, ExitStatus status,
                             const std::string& results, const std::string& messages) const
    {
        return holdsInChild([&] {
            if (geteuid() == 0 &&
                (setgroups(0, nullptr) != 0 || setgid(NOBODY) != 0 || setuid(NOBODY) != 0)) {
                return false;
            }
            std::vector<std::string> arguments{"--root", root_.path()};
            arguments.insert(arguments.end(), command.begin(), command.end());
            const ProgramRun run = runTool(arguments);
            EXPECT_EQ(run.results, results);
            EXPECT_EQ(run.messages, messages);
            EXPECT_EQ(run.status, status);
            return run.results == results && run.messages == messages && run.status == status;
        });
    }

    [[nodiscard]] std::string forbidden() const
    {
        return "cannot read \"" + configuration() + "\": Permission denied";
    }
    [[nodiscard]] std::string note() const
    {
        return "ksrbac: note: " + forbidden() + ": log messages go to standard error\n";
    }

    TempRoot root_;
    const std::vector<std::string> check_{"check", "--operation=|OPERATIONS|VIEW|", "--roles=17", "|A|",
                                          "|B|"};
};

std::vector<std::string> with(std::vector<std::string> arguments, const std::vector<std::string>& more)
{
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

TEST_F(Unprivileged, AnswersFromACacheThatItMayRead)
{
    EXPECT_TRUE(
        gives(with(check_, {"--cache=main"}), ExitStatus::Negative, "allow\t|A|\ndeny\t|B|\n", note()));
    EXPECT_TRUE(gives(with(check_, {"--cache", temp("access-caches/main")}), ExitStatus::Negative,
                      "allow\t|A|\ndeny\t|B|\n", note()));
    EXPECT_TRUE(gives({"operations"}, ExitStatus::Good, "BIT  OPERATION\n  3  |OPERATIONS|VIEW|\n", note()));
}

TEST_F(Unprivileged, SaysWhatToDoWhereTheConfigurationIsNeeded)
{
    const std::string reason = note() + "ksrbac: this needs the configuration: " + forbidden() +
                               ": run it as a user who may read that file";
    EXPECT_TRUE(
        gives(check_, ExitStatus::BadInput, "", reason + ", or name the access cache with --cache\n"));
    EXPECT_TRUE(gives({"role", "list"}, ExitStatus::BadInput, "", reason + "\n"));
    writeFile(root_.path("token"), "a.b.c");
    EXPECT_TRUE(gives({"token", "roles", root_.path("token")}, ExitStatus::BadInput, "", reason + "\n"));
}

TEST_F(Unprivileged, AnswersWhereTheLogCannotBeWritten)
{
    const std::string log = root_.path("ksrbac.log");
    writeFile(log, "");
    fs::permissions(log, fs::perms(0400));
    fs::permissions(configuration(), fs::perms::owner_write);
    writeFile(configuration(), "[features]\nenabled = [1]\n[log]\ndestination = \"file:" + log + "\"\n");
    fs::permissions(configuration(), fs::perms(0644));
    EXPECT_TRUE(gives(with(check_, {"--cache=main"}), ExitStatus::Negative, "allow\t|A|\ndeny\t|B|\n",
                      "ksrbac: note: cannot open the log file \"" + log +
                          "\": Permission denied: log messages go to standard error\n"));
}

TEST_F(Unprivileged, IsToldWhichFileOfTheCacheItMayNotRead)
{
    const std::string nodes = temp("access-caches/main/nodes");
    fs::permissions(nodes, fs::perms::none);
    EXPECT_TRUE(gives(with(check_, {"--cache=main"}), ExitStatus::LibraryFailed, "",
                      note() + "ksrbac: status 12: an access cache, key file or lock file cannot be used (" +
                          nodes + ": Permission denied: run it as a user who may read the cache)\n"));
}

} // namespace
} // namespace keepsafe_test
