#include <array>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/config/installation.h>

#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

namespace Platform = Tessara::Keepsafe::Platform;

class LoadConfig : public testing::Test {
protected:
    [[nodiscard]] std::string file() const { return root_.path("etc/keepsafe.toml"); }

    static std::string errorOfLoading()
    {
        return thrownBy<Platform::ConfigError>([] { Platform::loadConfig(); }).what();
    }

    TempRoot root_;
};

TEST_F(LoadConfig, ReadsTheFileUnderTheInstallationRoot)
{
    writeFile(file(), "master_server = \"master.example\"");
    EXPECT_EQ(Platform::loadConfig().masterServer, "master.example");
}

TEST_F(LoadConfig, ReadsTheFileAnewEachTime)
{
    writeFile(file(), "master_server = \"one\"");
    EXPECT_EQ(Platform::loadConfig().masterServer, "one");
    writeFile(file(), "master_server = \"two\"");
    EXPECT_EQ(Platform::loadConfig().masterServer, "two");
}

TEST_F(LoadConfig, OfAMissingFileOrFolderGivesTheDefaults)
{
    EXPECT_EQ(Platform::loadConfig().logThreshold, 8) << "no folder";
    std::filesystem::create_directory(root_.path("etc"));
    EXPECT_EQ(Platform::loadConfig().logThreshold, 8) << "no file";
}

TEST_F(LoadConfig, NamesTheFileInErrors)
{
    writeFile(file(), "\ncolour = 1");
    EXPECT_EQ(errorOfLoading(), file() + ":2:1: unknown key \"colour\"");
}

TEST_F(LoadConfig, RefusesAFolderInTheFilesPlace)
{
    std::filesystem::create_directories(file());
    EXPECT_EQ(errorOfLoading(), "cannot read \"" + file() + "\": Is a directory");
}

TEST_F(LoadConfig, SaysWhyAnOpenFileCannotBeRead)
{
    std::filesystem::create_directory(root_.path("etc"));
    std::filesystem::create_symlink("/proc/self/mem", file()); // has nothing at its beginning
    EXPECT_EQ(errorOfLoading(), "cannot read \"" + file() + "\": Input/output error");
}

TEST_F(LoadConfig, RefusesAFileInTheFoldersPlace)
{
    writeFile(root_.path("etc"), "");
    EXPECT_EQ(errorOfLoading(), "cannot read \"" + file() + "\": Not a directory");
}

TEST_F(LoadConfig, RefusesAPipeInTheFilesPlaceWithoutWaitingForItsWriter)
{
    std::filesystem::create_directory(root_.path("etc"));
    ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0);
    EXPECT_EQ(errorOfLoading(), "cannot read \"" + file() + "\": not a regular file");
}

TEST_F(LoadConfig, RefusesAFileThatEverybodyMayWrite)
{
    writeFile(file(), "");
    ASSERT_EQ(::chmod(file().c_str(), 0646), 0);
    EXPECT_EQ(errorOfLoading(), "cannot read \"" + file() + "\": writable by everybody");
}

TEST_F(LoadConfig, FollowsALinkAndRefusesOneThatLeadsNowhere)
{
    writeFile(root_.path("elsewhere"), "master_server = \"linked\"");
    std::filesystem::create_directory(root_.path("etc"));
    std::filesystem::create_symlink(root_.path("elsewhere"), file());
    EXPECT_EQ(Platform::loadConfig().masterServer, "linked");
    std::filesystem::remove(root_.path("elsewhere"));
    EXPECT_EQ(errorOfLoading(), "cannot read \"" + file() + "\": No such file or directory");
}

TEST_F(LoadConfig, ReadsUpToAMebibyte)
{
    const std::string config = "master_server = \"m\"\n#";
    constexpr std::size_t LIMIT = 1048576;
    writeFile(file(), config + std::string(LIMIT - config.size(), '#'));
    EXPECT_EQ(Platform::loadConfig().masterServer, "m");
    writeFile(file(), config + std::string(LIMIT + 1 - config.size(), '#'));
    EXPECT_EQ(errorOfLoading(), "cannot read \"" + file() + "\": larger than 1048576 bytes");
}

/// What `loadConfig` throws in a process without the rights of root.
std::string errorWithoutPrivileges()
{
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe(ends.data()), 0);
    const pid_t child = ::fork();
    EXPECT_GE(child, 0);
    if (child == 0) {
        std::string result = "no error";
        try {
            if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) {
                result = "cannot give up privileges";
            } else {
                Platform::loadConfig();
            }
        } catch (const Platform::ConfigError& error) {
            result = error.what();
        }
        ::_exit(::write(ends[1], result.data(), result.size()) == static_cast<ssize_t>(result.size()) ? 0
                                                                                                      : 1);
    }
    ::close(ends[1]);
    std::string result;
    char byte = 0;
    while (::read(ends[0], &byte, 1) == 1) {
        result += byte;
    }
    ::close(ends[0]);
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    return result;
}

TEST_F(LoadConfig, RefusesAFileThatItMayNotRead)
{
    writeFile(file(), "master_server = \"m\"");
    ASSERT_EQ(::chmod(file().c_str(), 0), 0);
    ASSERT_EQ(::chmod(root_.path().c_str(), 0755), 0);
    EXPECT_EQ(errorWithoutPrivileges(), "cannot read \"" + file() + "\": Permission denied");
}

TEST_F(LoadConfig, RefusesAFileInAFolderThatItMayNotEnter)
{
    writeFile(file(), "master_server = \"m\"");
    ASSERT_EQ(::chmod(root_.path("etc").c_str(), 0), 0);
    ASSERT_EQ(::chmod(root_.path().c_str(), 0755), 0);
    EXPECT_EQ(errorWithoutPrivileges(), "cannot read \"" + file() + "\": Permission denied");
    ASSERT_EQ(::chmod(root_.path("etc").c_str(), 0755), 0);
}

} // namespace
} // namespace keepsafe_test
