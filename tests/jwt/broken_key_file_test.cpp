/// A key file whose second half cannot be read. `read` here stands in for the C library's.

#include <keepsafe/jwt/JWTUtil.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "jwt/HostKeyRoot.h"
#include "jwt/expected_lines.h"
#include "support/CapturedLog.h"

namespace {

constexpr std::size_t READABLE = 8192;

/// The file that is broken; empty for none.
std::string brokenFile;

bool isBroken(int descriptor)
{
    char path[4096];
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t size = readlink(link.c_str(), path, sizeof path);
    return !brokenFile.empty() && size > 0 && std::string(path, static_cast<std::size_t>(size)) == brokenFile;
}

} // namespace

extern "C" ssize_t read(int descriptor, void* buffer, std::size_t size)
{
    if (isBroken(descriptor)) {
        const off_t at = lseek(descriptor, 0, SEEK_CUR);
        if (at >= static_cast<off_t>(READABLE)) {
            errno = EIO;
            return -1;
        }
        size = std::min(size, READABLE - static_cast<std::size_t>(at));
    }
    return syscall(SYS_read, descriptor, buffer, size);
}

namespace {

namespace lines = keepsafe_test::lines;

TEST(AKeyFileThatBreaksOff, IsStatus13AndGivesWhatWasRead)
{
    const keepsafe_test::HostKeyRoot root;
    const std::string content(2 * READABLE, 'k');
    keepsafe_test::writeFile(root.keyFile(), content);
    const keepsafe_test::CapturedLog log;
    brokenFile = root.keyFile();
    std::string key = "as it was";
    EXPECT_EQ(Tessara::Keepsafe::JWTUtil::loadJwtPublicKey(key), 13);
    brokenFile.clear();
    EXPECT_EQ(key.size(), READABLE);
    EXPECT_EQ(key, content.substr(0, key.size()));
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0], lines::KEY_FILE_OPENED);
    EXPECT_EQ(log.lines()[1].level, 16);
    EXPECT_EQ(log.lines()[1].tag, lines::LOAD_KEY_TAG);
    EXPECT_THAT(log.lines()[1].text, testing::StartsWith("failed to read jwt public key file. Error = "));
}

} // namespace
