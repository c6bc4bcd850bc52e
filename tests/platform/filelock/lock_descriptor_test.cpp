// The descriptor of the file behind the lock, which the host program may close or use again.

#include <fcntl.h>
#include <unistd.h>

#include "LockFileTest.h"

namespace keepsafe_test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

TEST_F(LockFileTest, DescriptorThatTheHostProgramClosedIsReplaced)
{
    writeFile(path, "");
    const FileLock held = lock();
    take(held, FileLock::SHARED);
    ASSERT_THAT(descriptorsOf(path), SizeIs(1));
    close(descriptorsOf(path).front());
    expectCorrectExclusion(held);
}

TEST_F(LockFileTest, DescriptorThatNowIsAnotherFileIsReplacedAndLeftAlone)
{
    writeFile(path, "");
    writeFile(path + ".host", "");
    const FileLock held = lock();
    take(held, FileLock::SHARED);
    const int reused = descriptorsOf(path).front();
    const int host = open((path + ".host").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(dup2(host, reused), reused);
    close(host);

    expectCorrectExclusion(held);

    EXPECT_THAT(descriptorsOf(path + ".host"), ElementsAre(reused));
    EXPECT_EQ(tryInOtherProcess(path + ".host", "exclusive"), "held");
    close(reused);
}

TEST_F(LockFileTest, DescriptorThatTheHostProgramReopenedOnTheSameFileIsLeftAlone)
{
    writeFile(path, "");
    int reused = -1;
    {
        const FileLock held = lock();
        take(held, FileLock::SHARED);
        reused = descriptorsOf(path).front();
        const int host = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(dup2(host, reused), reused);
        close(host);
        take(held, FileLock::SHARED);
    }
    EXPECT_THAT(descriptorsOf(path), ElementsAre(reused));
    close(reused);
}

TEST_F(LockFileTest, LockOfTheHostProgramSurvivesOnADescriptorThatItHasTaken)
{
    writeFile(path, "");
    writeFile(path + ".host", "");
    const FileLock held = lock();
    const int host = open((path + ".host").c_str(), O_RDWR | O_CLOEXEC);
    struct flock firstByte {};
    firstByte.l_type = F_WRLCK;
    firstByte.l_len = 1;
    ASSERT_EQ(fcntl(host, F_OFD_SETLK, &firstByte), 0);
    int reused = -1;
    {
        const FileLockGuard guard = take(held, FileLock::SHARED);
        reused = descriptorsOf(path).front();
        ASSERT_EQ(dup2(host, reused), reused);
    }
    const int other = open((path + ".host").c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(fcntl(other, F_OFD_SETLK, &firstByte), -1) << "the host's lock is gone";
    close(other);
    close(reused);
    close(host);
}

TEST_F(LockFileTest, LossOfAHeldLockIsLogged)
{
    writeFile(path, "");
    const CapturedLog log;
    const FileLock held = lock();
    for (const int type : {FileLock::SHARED, FileLock::EXCLUSIVE}) {
        const FileLockGuard guard = take(held, type);
        for (const int descriptor : descriptorsOf(path)) {
            close(descriptor);
        }
    }
    const LogLine lost{16, "FileLockGuard",
                       "The lock on " + path + " was lost while it was held: Bad file descriptor"};
    EXPECT_THAT(log.lines(), ElementsAre(lost, lost));
    expectCorrectExclusion(held);
}

} // namespace
} // namespace keepsafe_test
