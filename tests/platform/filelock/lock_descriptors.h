#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_LOCK_DESCRIPTORS_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_LOCK_DESCRIPTORS_H

#include <filesystem>
#include <string>
#include <vector>

namespace keepsafe_test {

/// The descriptors of this process that stand for the file at the path, replaced or removed files included.
inline std::vector<int> descriptorsOf(const std::string& path)
{
    std::vector<int> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the iterator's own descriptor
        const std::filesystem::path target = std::filesystem::read_symlink(entry.path(), gone);
        if (target == path || target == path + " (deleted)") {
            descriptors.push_back(std::stoi(entry.path().filename()));
        }
    }
    return descriptors;
}

} // namespace keepsafe_test

#endif
