#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_SLOTFILESTEST_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_SLOTFILESTEST_H

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "LockHolder.h"
#include "slots_support.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// A lock whose readers may have slots.
class SlotFilesTest : public testing::Test {
protected:
    SlotFilesTest()
    {
        std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
        writeFile(path, "");
    }
    [[nodiscard]] LogLine cannotLock(const std::string& reason) const
    {
        return {16, "FileLockGuard", "Cannot lock " + path + ": " + reason};
    }
    /// The lock does what it should, whether by slots or not.
    void expectCorrectExclusion() const
    {
        {
            const FileLockGuard guard = take(lock, FileLock::SHARED, FileLock::WAIT_FOREVER);
            EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
        }
        {
            const FileLockGuard guard = take(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER);
            EXPECT_EQ(tryInOtherProcess(path, "shared"), "timeout");
        }
        EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "held");
    }

    const TempDir directory;
    const std::string path = directory.path("lock");
    const FileLock lock = FileLockManager::instance().getLock(path);
};

} // namespace keepsafe_test

#endif
