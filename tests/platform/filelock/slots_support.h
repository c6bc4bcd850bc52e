#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_SLOTS_SUPPORT_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_SLOTS_SUPPORT_H

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "platform/filelock/taking.h"

/// \file
/// The readers' slots as tests see them from outside.

namespace keepsafe_test {

/// Waits until it is so. False: it did not come to be so.
template <typename Condition>
bool eventually(const Condition& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

/// What every lock's first writer makes: only then can readers have slots.
inline void makeControlPage(const FileLock& lock) { take(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER); }

inline std::string folderOf(const std::string& lockPath) { return lockPath + ".readers"; }
inline std::string controlOf(const std::string& lockPath) { return folderOf(lockPath) + "/control"; }

/// The paths of the readers' slot files.
inline std::vector<std::string> slotFilesOf(const std::string& lockPath)
{
    std::vector<std::string> files;
    std::error_code noFolder;
    for (const auto& entry : std::filesystem::directory_iterator(folderOf(lockPath), noFolder)) {
        if (entry.path().filename().string().rfind("reader-", 0) == 0) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// Whether a shared hold of this process goes by a slot in the end: a process makes its file at one of the
/// looks, and at a look the guard does not tell which way it took.
inline bool getsSlot(const FileLock& lock)
{
    return eventually([&] { return take(lock, FileLock::SHARED, FileLock::WAIT_FOREVER).writes() != 0; });
}

/// Whether this process, whose file was removed, notices that and makes another one. What it holds before
/// that is not safe for longer than some moments.
inline bool makesAnotherFile(const FileLock& lock, const std::string& removed)
{
    return eventually([&] {
        take(lock, FileLock::SHARED, FileLock::WAIT_FOREVER);
        const std::vector<std::string> files = slotFilesOf(lock.name());
        return std::any_of(files.begin(), files.end(), [&](const std::string& file) {
            return file != removed && file.find("/reader-" + std::to_string(getpid()) + "-") != file.npos;
        });
    });
}

/// The number under which the lock can be held shared by a slot now; 0 when it never can.
inline std::uint64_t writesOf(const FileLock& lock)
{
    std::uint64_t writes = 0;
    eventually([&] {
        writes = take(lock, FileLock::SHARED, FileLock::WAIT_FOREVER).writes();
        return writes != 0;
    });
    return writes;
}

} // namespace keepsafe_test

#endif
