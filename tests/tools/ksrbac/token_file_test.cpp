#include <string>

#include <gtest/gtest.h>

#include "exit_status.h"
#include "io/token_file.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using ksrbac::MOST_TOKEN_BYTES;
using ksrbac::readToken;

class TokenFile : public testing::Test {
protected:
    [[nodiscard]] std::string file(const std::string& content) const
    {
        writeFile(dir_.path("token"), content);
        return dir_.path("token");
    }

    [[nodiscard]] std::string messageFor(const std::string& path) const
    {
        return thrownBy<ksrbac::InputError>([&] { (void)readToken(path); }).what();
    }

    TempDir dir_;
};

TEST_F(TokenFile, LosesTheWhiteSpaceAtItsEndAlone)
{
    EXPECT_EQ(readToken(file("a.b.c")), "a.b.c");
    EXPECT_EQ(readToken(file("a.b.c\n")), "a.b.c");
    EXPECT_EQ(readToken(file(" a.b c\t.d \r\n\n")), " a.b c\t.d");
    EXPECT_EQ(readToken(file(std::string("a\0b\0", 4))), std::string("a\0b\0", 4));
}

TEST_F(TokenFile, MayBeSoLongAndNotLonger)
{
    EXPECT_EQ(readToken(file(std::string(MOST_TOKEN_BYTES, 'a'))).size(), MOST_TOKEN_BYTES);
    const std::string path = file(std::string(MOST_TOKEN_BYTES + 1, 'a'));
    EXPECT_EQ(messageFor(path), path + ": more than 65536 bytes, which is not a token");
}

TEST_F(TokenFile, OfEndlessLengthIsReadToTheLimitAlone)
{
    EXPECT_EQ(messageFor("/dev/zero"), "/dev/zero: more than 65536 bytes, which is not a token");
}

TEST_F(TokenFile, MustHoldSomething)
{
    for (const char* content : {"", "\n", " \t\r\n"}) {
        const std::string path = file(content);
        EXPECT_EQ(messageFor(path), path + ": there is no token in it");
    }
}

TEST_F(TokenFile, ThatCannotBeReadIsNamed)
{
    EXPECT_EQ(messageFor(dir_.path("none")),
              "cannot read " + dir_.path("none") + ": No such file or directory");
    EXPECT_EQ(messageFor(dir_.path()), "cannot read " + dir_.path() + ": Is a directory");
}

} // namespace
} // namespace keepsafe_test
