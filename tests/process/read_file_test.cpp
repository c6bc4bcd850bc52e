#include "read_file.h"

#include <cerrno>
#include <csignal>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "support/TempDir.h"

namespace {

namespace Process = Tessara::Keepsafe::Process;

class ReadFile : public testing::Test {
protected:
    int failureOfOpening()
    {
        int failure = 0;
        EXPECT_FALSE(Process::openRegularFile(path_, failure).isOpen());
        return failure;
    }

    keepsafe_test::TempDir dir_;
    const std::string path_ = dir_.path("file");
};

TEST_F(ReadFile, GivesTheWholeOfARegularFile)
{
    const std::string content = std::string(10000, 'a') + '\0' + "end";
    keepsafe_test::writeFile(path_, content);
    int failure = 0;
    const Process::Descriptor file = Process::openRegularFile(path_, failure);
    ASSERT_TRUE(file.isOpen()) << Process::failureText(failure);
    std::string text = "before ";
    EXPECT_EQ(Process::readAll(file, text), 0);
    EXPECT_EQ(text, "before " + content);
}

TEST_F(ReadFile, GivesASingleByteAndLeavesNoDescriptorToOtherPrograms)
{
    keepsafe_test::writeFile(path_, "a");
    int failure = 0;
    const Process::Descriptor file = Process::openRegularFile(path_, failure);
    EXPECT_EQ(::fcntl(file.get(), F_GETFD), FD_CLOEXEC);
    std::string text;
    EXPECT_EQ(Process::readAll(file, text), 0);
    EXPECT_EQ(text, "a");
}

int writeEnd = -1; ///< of the pipe that the handler writes to and closes

extern "C" void writeAndClose(int /*signal*/)
{
    static_cast<void>(::write(writeEnd, "text", 4) + ::close(writeEnd));
}

TEST_F(ReadFile, GoesOnAfterASignal)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const Process::Descriptor readEnd(ends[0]);
    writeEnd = ends[1];
    struct sigaction action {}; // without SA_RESTART: the signal interrupts
    struct sigaction before {};
    action.sa_handler = writeAndClose;
    ASSERT_EQ(::sigaction(SIGALRM, &action, &before), 0);
    const itimerval soon = {{0, 0}, {0, 50'000}};
    ASSERT_EQ(::setitimer(ITIMER_REAL, &soon, nullptr), 0);
    std::string text;
    EXPECT_EQ(Process::readAll(readEnd, text), 0);
    EXPECT_EQ(text, "text");
    ::sigaction(SIGALRM, &before, nullptr);
}

TEST_F(ReadFile, StopsBeyondTheLimit)
{
    keepsafe_test::writeFile(path_, "12345");
    int failure = 0;
    std::string text;
    EXPECT_EQ(Process::readAll(Process::openRegularFile(path_, failure), text, 5), 0);
    EXPECT_EQ(Process::readAll(Process::openRegularFile(path_, failure), text, 9), EFBIG);
}

TEST_F(ReadFile, RefusesToTrustAFileThatEverybodyMayWrite)
{
    keepsafe_test::writeFile(path_, "");
    int failure = 0;
    for (const mode_t mode : {0600U, 0664U}) {
        ASSERT_EQ(::chmod(path_.c_str(), mode), 0);
        EXPECT_TRUE(Process::openTrustedFile(path_, failure).isOpen()) << mode;
    }
    ASSERT_EQ(::chmod(path_.c_str(), 0602), 0);
    EXPECT_FALSE(Process::openTrustedFile(path_, failure).isOpen());
    EXPECT_EQ(failure, Process::WORLD_WRITABLE);
    EXPECT_EQ(Process::failureText(failure), "writable by everybody");
}

TEST_F(ReadFile, TellsAFileThatIsMissing) { EXPECT_EQ(failureOfOpening(), ENOENT); }

TEST_F(ReadFile, RefusesAFolder)
{
    ASSERT_EQ(::mkdir(path_.c_str(), 0700), 0);
    EXPECT_EQ(failureOfOpening(), EISDIR);
}

TEST_F(ReadFile, RefusesAFifoWithoutWaitingForItsWriter)
{
    ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(failureOfOpening(), Process::NOT_REGULAR);
    EXPECT_EQ(Process::failureText(Process::NOT_REGULAR), "not a regular file");
}

TEST_F(ReadFile, TellsAFailureToRead)
{
    std::string text;
    EXPECT_EQ(Process::readAll(Process::Descriptor(), text), EBADF);
}

} // namespace
