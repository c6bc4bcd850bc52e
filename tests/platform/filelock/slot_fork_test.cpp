// What a forked child has of its parent's slots: nothing.

#include <functional>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "LockHolder.h"
#include "slots_support.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

class SlotForkTest : public testing::Test {
protected:
    SlotForkTest()
    {
        writeFile(path, "");
        makeControlPage(lock);
        EXPECT_TRUE(getsSlot(lock));
        file = slotFilesOf(path).front();
    }

    const TempDir directory;
    const std::string path = directory.path("manifest.json");
    const FileLock lock = FileLockManager::instance().getLock(path);
    std::string file;
};

TEST_F(SlotForkTest, ChildMakesAFileOfItsOwn)
{
    EXPECT_TRUE(holdsInChild([&] { return getsSlot(lock) && slotFilesOf(path).size() == 2; }));
}

TEST_F(SlotForkTest, ChildThatEndsLeavesItsParentsFileAlone)
{
    EXPECT_TRUE(holdsInChild([&] {
        take(lock, FileLock::EXCLUSIVE);
        return getsSlot(lock);
    }));
    EXPECT_THAT(slotFilesOf(path), Contains(file));
    const FileLockGuard guard = take(lock, FileLock::SHARED);
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
    EXPECT_THAT(slotFilesOf(path), ElementsAre(file)) << "the writer has removed the child's alone";
}

TEST_F(SlotForkTest, ChildThatEndsWithoutUsingTheLockLeavesNothing)
{
    EXPECT_TRUE(holdsInChild([] { return true; }));
    EXPECT_THAT(slotFilesOf(path), SizeIs(1));
}

TEST_F(SlotForkTest, ChildIsKeptOutByItsParentsHold)
{
    const FileLockGuard guard = take(lock, FileLock::SHARED);
    EXPECT_TRUE(holdsInChild([&] { return isTimeout(lock, FileLock::EXCLUSIVE); }));
}

TEST_F(SlotForkTest, ChildHasAFreshHoldWhereItsParentHadOne)
{
    auto guard = std::make_unique<FileLockGuard>(lock, FileLock::SHARED, 0, FileLock::DEFAULT_INTERVAL);
    EXPECT_TRUE(holdsInChild([&] {
        const bool slot = getsSlot(lock);
        const FileLockGuard own = take(lock, FileLock::SHARED);
        guard.reset(); // its parent's, so it does nothing
        return slot && tryInOtherProcess(path, "exclusive") == "timeout";
    }));
}

TEST_F(SlotForkTest, InheritedGuardReleasesNothing)
{
    auto guard = std::make_unique<FileLockGuard>(lock, FileLock::SHARED, 0, FileLock::DEFAULT_INTERVAL);
    EXPECT_TRUE(holdsInChild([&] {
        guard.reset();
        return isTimeout(lock, FileLock::EXCLUSIVE);
    }));
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
}

} // namespace
} // namespace keepsafe_test
