#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_LOCKFILETEST_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_LOCKFILETEST_H

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/status/status_codes.h>

#include "LockHolder.h"
#include "lock_descriptors.h"
#include "platform/filelock/taking.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// A lock on a file that may be missing, and what this and other processes get of it.
class LockFileTest : public testing::Test {
protected:
    [[nodiscard]] FileLock lock(FileLock::MissingFile missing = FileLock::MissingFile::IsAnError) const
    {
        return FileLockManager::instance().getLock(path, missing);
    }
    [[nodiscard]] LogLine cannotLock(const std::string& reason) const
    {
        return {16, "FileLockGuard", "Cannot lock " + path + ": " + reason};
    }
    /// Shared and exclusive both fail with one log line each.
    void expectUnavailable(const std::string& reason,
                           FileLock::MissingFile missing = FileLock::MissingFile::IsAnError) const
    {
        const CapturedLog log;
        for (const int type : {FileLock::SHARED, FileLock::EXCLUSIVE}) {
            EXPECT_EQ(thrownBy<FileLockUnavailable>([&] {
                          take(lock(missing), type, FileLock::WAIT_FOREVER);
                      }).status(),
                      Tessara::Keepsafe::Status::CACHE_UNUSABLE);
        }
        EXPECT_THAT(log.lines(), testing::ElementsAre(cannotLock(reason), cannotLock(reason)));
        EXPECT_THAT(descriptorsOf(path), testing::IsEmpty());
    }
    /// What this process takes, another process cannot have.
    void expectCorrectExclusion(const FileLock& held) const
    {
        {
            const FileLockGuard guard = take(held, FileLock::SHARED);
            EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
        }
        {
            const FileLockGuard guard = take(held, FileLock::EXCLUSIVE);
            EXPECT_EQ(tryInOtherProcess(path, "shared"), "timeout");
        }
        EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "held");
    }
    /// Replaces the file by another one and keeps the old one under another name.
    void putAnotherFileThere() const
    {
        std::filesystem::rename(path, path + ".old");
        writeFile(path, "");
    }

    static mode_t modeOf(const std::string& file)
    {
        struct stat status {};
        EXPECT_EQ(::stat(file.c_str(), &status), 0);
        return status.st_mode & 07777U;
    }

    const TempDir directory;
    const std::string path = directory.path("operation-cache.json.lck");
};

} // namespace keepsafe_test

#endif
