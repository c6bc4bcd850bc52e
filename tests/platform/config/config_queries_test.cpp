#include <array>
#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ConfigQueries.h"
#include "support/Process.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

namespace Platform = Tessara::Keepsafe::Platform;

/// While it lives, this process can open no file.
class NoDescriptorsLeft {
public:
    NoDescriptorsLeft()
    {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before_), 0);
        const rlimit none{0, before_.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptorsLeft() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    NoDescriptorsLeft(const NoDescriptorsLeft&) = delete;
    NoDescriptorsLeft& operator=(const NoDescriptorsLeft&) = delete;

private:
    rlimit before_{};
};

using IsFeatureEnabled = ConfigQueries;

TEST_F(IsFeatureEnabled, TellsOnceInAProcessThatEverythingIsAllowedWithoutAFile)
{
    EXPECT_TRUE(holdsInChild([this] {
        const bool isOff = IsFeatureEnabled_c(2) == 0 && log_.lines().empty() && IsFeatureEnabled_c(1) == 0 &&
                           IsFeatureEnabled_c(1) == 0;
        const std::string text = "There is no configuration file " + file() +
                                 ": role-based enforcement is off, and everything is allowed";
        return isOff && log_.lines() == Lines{{8, "IsFeatureEnabled_c", text}};
    }));
}

TEST_F(IsFeatureEnabled, SaysNothingWhereAFileTurnsEnforcementOff)
{
    write("");
    EXPECT_EQ(IsFeatureEnabled_c(1), 0);
    EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(IsFeatureEnabled, IsOffForEveryFeatureWithoutAConfiguration)
{
    EXPECT_EQ(IsFeatureEnabled_c(1), 0);
    EXPECT_EQ(IsFeatureEnabled_c(0), 0);
    EXPECT_EQ(log_.lines(16), Lines{});
}

TEST_F(IsFeatureEnabled, IsOnForTheFeaturesThatAreListed)
{
    write("[features]\nenabled = [1, 30]");
    EXPECT_NE(IsFeatureEnabled_c(1), 0);
    EXPECT_NE(IsFeatureEnabled_c(30), 0);
    EXPECT_EQ(IsFeatureEnabled_c(2), 0);
    EXPECT_EQ(IsFeatureEnabled_c(-1), 0);
}

TEST_F(IsFeatureEnabled, IsOnForEveryFeatureWhenTheConfigurationIsDamaged)
{
    write("[features]\nenabled = [1");
    EXPECT_NE(IsFeatureEnabled_c(1), 0);
    EXPECT_NE(IsFeatureEnabled_c(2), 0);
}

TEST_F(IsFeatureEnabled, IsOnWhenTheConfigurationCannotBeRead)
{
    std::filesystem::create_directories(file());
    EXPECT_NE(IsFeatureEnabled_c(1), 0);
    EXPECT_EQ(log_.lines(),
              (Lines{{16, "IsFeatureEnabled_c", "cannot read \"" + file() + "\": Is a directory"}}));
}

TEST_F(IsFeatureEnabled, IsOnWhenTheConfigurationIsALinkThatLeadsNowhere)
{
    std::filesystem::create_directory(root_.path("etc"));
    EXPECT_EQ(IsFeatureEnabled_c(1), 0);
    std::filesystem::create_symlink(root_.path("elsewhere"), file());
    EXPECT_NE(IsFeatureEnabled_c(1), 0);
}

TEST_F(IsFeatureEnabled, FollowsEveryChangeOfTheFile)
{
    EXPECT_EQ(IsFeatureEnabled_c(1), 0) << "missing";
    write("[features]\nenabled = [1]");
    EXPECT_NE(IsFeatureEnabled_c(1), 0) << "created";
    write("[features]\nenabled = []");
    EXPECT_EQ(IsFeatureEnabled_c(1), 0) << "written anew";
    replace("[features]\nenabled = [1]");
    EXPECT_NE(IsFeatureEnabled_c(1), 0) << "replaced";
    std::filesystem::remove(file());
    EXPECT_EQ(IsFeatureEnabled_c(1), 0) << "removed";
}

TEST_F(IsFeatureEnabled, FollowsQuickChangesOfTheSameSize)
{
    for (int round = 0; round < 200; ++round) {
        write("[features]\nenabled = [1]");
        ASSERT_NE(IsFeatureEnabled_c(1), 0) << round;
        write("[features]\nenabled = [2]");
        ASSERT_EQ(IsFeatureEnabled_c(1), 0) << round;
    }
}

TEST_F(IsFeatureEnabled, FollowsAChangeThatKeepsSizeAndModificationTime)
{
    write("[features]\nenabled = [1]");
    TempRoot::settle();
    EXPECT_NE(IsFeatureEnabled_c(1), 0);
    struct stat before {};
    ASSERT_EQ(::stat(file().c_str(), &before), 0);
    write("[features]\nenabled = [2]");
    const std::array<timespec, 2> times = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, file().c_str(), times.data(), 0), 0);
    EXPECT_EQ(IsFeatureEnabled_c(1), 0);
}

TEST_F(IsFeatureEnabled, FollowsALinkToAnotherFile)
{
    write("[features]\nenabled = []");
    writeFile(root_.path("other"), "[features]\nenabled = [1]");
    std::filesystem::remove(file());
    std::filesystem::create_symlink(root_.path("other"), file());
    EXPECT_NE(IsFeatureEnabled_c(1), 0);
    writeFile(root_.path("other"), "[features]\nenabled = []");
    EXPECT_EQ(IsFeatureEnabled_c(1), 0);
}

TEST_F(IsFeatureEnabled, FollowsTheInstallationRoot)
{
    write("[features]\nenabled = [1]");
    EXPECT_NE(IsFeatureEnabled_c(1), 0);
    {
        const TempRoot other;
        EXPECT_EQ(IsFeatureEnabled_c(1), 0);
    }
    EXPECT_NE(IsFeatureEnabled_c(1), 0);
}

TEST_F(IsFeatureEnabled, DoesNotOpenAnUnchangedFileAgain)
{
    write("[features]\nenabled = [2]");
    TempRoot::settle();
    EXPECT_EQ(IsFeatureEnabled_c(1), 0);
    const NoDescriptorsLeft opensFail;
    EXPECT_EQ(IsFeatureEnabled_c(1), 0);
    EXPECT_NE(IsFeatureEnabled_c(2), 0);
}

TEST_F(ConfigQueries, LogADamagedFileOncePerState)
{
    const std::string unknown = "unknown key \"colour\"";
    write("colour = 1");
    for (int round = 0; round < 3; ++round) {
        EXPECT_NE(IsFeatureEnabled_c(1), 0);
        EXPECT_EQ(statusOfServerName(), 13);
    }
    EXPECT_EQ(log_.lines(), (Lines{{16, "IsFeatureEnabled_c", file() + ":1:1: " + unknown}}));

    log_.clear();
    replace("\ncolour = 1");
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(statusOfServerName(), 13);
        EXPECT_NE(IsFeatureEnabled_c(1), 0);
    }
    EXPECT_EQ(log_.lines(), (Lines{{16, "db_getservernameEx", file() + ":2:1: " + unknown}}));
}

TEST_F(ConfigQueries, ShareOneReadingOfAnUnchangedFile)
{
    write("master_server = \"m\"");
    TempRoot::settle();
    const auto first = Tessara::Keepsafe::Platform::currentConfig("tag");
    EXPECT_EQ(first->masterServer, "m");
    EXPECT_EQ(Tessara::Keepsafe::Platform::currentConfig("tag"), first);
    replace("master_server = \"n\"");
    EXPECT_EQ(Tessara::Keepsafe::Platform::currentConfig("tag")->masterServer, "n");
    EXPECT_EQ(first->masterServer, "m");
}

TEST_F(ConfigQueries, ThrowAndLogOnceWhenTheWholeIsAskedForAndDamaged)
{
    write("colour = 1");
    const std::string error = file() + ":1:1: unknown key \"colour\"";
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(thrownBy<Platform::ConfigError>([] { Platform::currentConfig("tag"); }).what(), error);
    }
    EXPECT_EQ(log_.lines(), (Lines{{16, "tag", error}}));
}

TEST_F(ConfigQueries, LogTheSameDamageAgainAfterARepair)
{
    write("colour = 1");
    EXPECT_NE(IsFeatureEnabled_c(1), 0);
    replace("");
    EXPECT_EQ(IsFeatureEnabled_c(1), 0);
    replace("colour = 1");
    EXPECT_NE(IsFeatureEnabled_c(1), 0);
    EXPECT_EQ(log_.lines().size(), 2U);
}

TEST_F(ConfigQueries, RecoverWithoutAChangeOfTheFileWhenItCanBeReadAgain)
{
    write("[features]\nenabled = [2]");
    TempRoot::settle();
    {
        const NoDescriptorsLeft opensFail;
        EXPECT_NE(IsFeatureEnabled_c(1), 0);
    }
    EXPECT_EQ(IsFeatureEnabled_c(1), 0);
    EXPECT_EQ(log_.lines(),
              (Lines{{16, "IsFeatureEnabled_c", "cannot read \"" + file() + "\": Too many open files"}}));
}

TEST_F(ConfigQueries, LogAnotherFailureWithTheSameFile)
{
    write("colour = 1");
    TempRoot::settle();
    EXPECT_NE(IsFeatureEnabled_c(1), 0);
    {
        const NoDescriptorsLeft opensFail;
        EXPECT_NE(IsFeatureEnabled_c(1), 0);
    }
    EXPECT_EQ(log_.lines(),
              (Lines{{16, "IsFeatureEnabled_c", file() + ":1:1: unknown key \"colour\""},
                     {16, "IsFeatureEnabled_c", "cannot read \"" + file() + "\": Too many open files"}}));
}

TEST_F(ConfigQueries, AnswerManyThreadsWhileTheFileChanges)
{
    replace("master_server = \"one\"\n[features]\nenabled = [1]");
    std::atomic<bool> stop{false};
    std::vector<std::thread> readers;
    for (int reader = 0; reader < 3; ++reader) {
        readers.emplace_back([&stop] {
            while (!stop) {
                EXPECT_NE(IsFeatureEnabled_c(1), 0);
                const std::string name = serverName();
                EXPECT_TRUE(name == "one" || name == "three") << name;
            }
        });
    }
    for (int round = 0; round < 200; ++round) {
        replace("master_server = \"three\"\n[features]\nenabled = [1, 3]");
        replace("master_server = \"one\"\n[features]\nenabled = [1]");
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(log_.lines(), Lines{});
}

// A child that hangs keeps the test waiting until ctest's time limit.
TEST_F(ConfigQueries, AnswerAChildWhateverThreadsOfItsParentWereDoing)
{
    write("[features]\nenabled = [1]");
    TempRoot::settle();
    std::atomic<bool> stop{false};
    std::vector<std::thread> others;
    for (int thread = 0; thread < 4; ++thread) {
        others.emplace_back([&stop] {
            while (!stop) {
                IsFeatureEnabled_c(1);
            }
        });
    }
    for (int round = 0; round < 200; ++round) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::_exit(IsFeatureEnabled_c(1) != 0 ? 0 : 1);
        }
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0);
    }
    stop = true;
    for (std::thread& other : others) {
        other.join();
    }
}

} // namespace
} // namespace keepsafe_test
