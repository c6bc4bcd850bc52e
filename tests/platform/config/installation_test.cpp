#include <keepsafe/platform/config/installation.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/thrown.h"

namespace keepsafe_test {
namespace {

namespace Platform = Tessara::Keepsafe::Platform;

class InstallationRoot : public testing::Test {
protected:
    InstallationRoot() : before_(Platform::installationRoot()) {}
    ~InstallationRoot() override { Platform::setInstallationRoot(before_); }

private:
    std::string before_;
};

std::string refusalOf(const std::string& path)
{
    return thrownBy<std::invalid_argument>([&] { Platform::setInstallationRoot(path); }).what();
}

TEST_F(InstallationRoot, IsTheProductsOwnUntilTheProcessDecidesOtherwise)
{
    EXPECT_EQ(Platform::installationRoot(), "/usr/kshome");
}

TEST_F(InstallationRoot, IsWhatTheProcessSetLast)
{
    Platform::setInstallationRoot("/opt/first");
    Platform::setInstallationRoot("/opt/second");
    EXPECT_EQ(Platform::installationRoot(), "/opt/second");
}

TEST_F(InstallationRoot, HasNoSlashAtItsEnd)
{
    Platform::setInstallationRoot("/opt/kshome/");
    EXPECT_EQ(Platform::installationRoot(), "/opt/kshome");
    Platform::setInstallationRoot("/opt/kshome///");
    EXPECT_EQ(Platform::installationRoot(), "/opt/kshome");
    Platform::setInstallationRoot("//opt//kshome");
    EXPECT_EQ(Platform::installationRoot(), "//opt//kshome");
    Platform::setInstallationRoot("/");
    EXPECT_EQ(Platform::installationRoot(), "");
}

TEST_F(InstallationRoot, MustBeAnAbsolutePath)
{
    EXPECT_EQ(refusalOf(""), "the installation root must be an absolute path: \"\"");
    EXPECT_EQ(refusalOf("opt/kshome"), "the installation root must be an absolute path: \"opt/kshome\"");
    EXPECT_EQ(Platform::installationRoot(), "/usr/kshome");
}

TEST_F(InstallationRoot, IsReadWholeWhileOthersSetIt)
{
    const std::string first = "/opt/" + std::string(200, 'a');
    const std::string second = "/opt/" + std::string(300, 'b');
    Platform::setInstallationRoot(first);
    std::atomic<bool> stop{false};
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 2; ++writer) {
        writers.emplace_back([&] {
            while (!stop) {
                Platform::setInstallationRoot(first);
                Platform::setInstallationRoot(second);
            }
        });
    }
    for (int round = 0; round < 10000; ++round) {
        const std::string seen = Platform::installationRoot();
        ASSERT_TRUE(seen == first || seen == second) << seen;
    }
    stop = true;
    for (std::thread& writer : writers) {
        writer.join();
    }
}

} // namespace
} // namespace keepsafe_test
