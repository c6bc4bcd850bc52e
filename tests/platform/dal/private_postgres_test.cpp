/// The server that the other tests rely on cleans up after itself.

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/PrivatePostgres.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using testing::HasSubstr;

/// Starts a server in a second process that then dies of a signal. The server's folder and process.
std::pair<std::string, pid_t> serverOfAProcessThatDies()
{
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    const pid_t child = fork();
    if (child == 0) {
        const PrivatePostgres server;
        const std::string said = server.folder() + "\n" + readFile(server.folder() + "/data/postmaster.pid");
        const ssize_t written = write(ends[1], said.data(), said.size());
        raise(written > 0 ? SIGKILL : SIGTERM);
    }
    close(ends[1]);
    waitpid(child, nullptr, 0);
    std::array<char, 1024> said{};
    EXPECT_GT(read(ends[0], said.data(), said.size() - 1), 0);
    close(ends[0]);
    const std::string text = said.data();
    return {text.substr(0, text.find('\n')), static_cast<pid_t>(std::stol(text.substr(text.find('\n') + 1)))};
}

TEST(PrivatePostgresServer, IsGoneWithItsFolderWhenTheTestDies)
{
    const auto [folder, process] = serverOfAProcessThatDies();
    ASSERT_THAT(folder, HasSubstr("/ks-pg-"));
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::filesystem::exists(folder) && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_FALSE(std::filesystem::exists(folder));
    std::error_code ignored;
    const std::string command = "/proc/" + std::to_string(process) + "/exe";
    EXPECT_THAT(std::filesystem::read_symlink(command, ignored).string(),
                testing::Not(HasSubstr("postgres")));
}

TEST(PrivatePostgresServer, SaysWhyItDoesNotStart)
{
    const std::string text =
        thrownBy<std::runtime_error>([] { PrivatePostgres({"max_connections=none"}); }).what();
    EXPECT_THAT(text, HasSubstr("max_connections"));
    const std::size_t folder = text.find("/ks-pg-");
    ASSERT_NE(folder, std::string::npos);
    const std::size_t begin = text.rfind('=', folder) + 1;
    EXPECT_FALSE(std::filesystem::exists(text.substr(begin, text.find('/', folder + 1) - begin)));
}

} // namespace
} // namespace keepsafe_test
