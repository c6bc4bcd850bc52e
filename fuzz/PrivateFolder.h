#ifndef KEEPSAFE_FUZZ_PRIVATEFOLDER_H
#define KEEPSAFE_FUZZ_PRIVATEFOLDER_H

#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

/// A folder of this process, removed at its end. In memory where the system has such a place, because every
/// run writes to it.
class PrivateFolder {
public:
    PrivateFolder()
    {
        const std::filesystem::path memory = "/dev/shm";
        const bool writable = access(memory.c_str(), W_OK | X_OK) == 0;
        const auto base = writable ? memory : std::filesystem::temp_directory_path();
        std::string pattern = (base / "keepsafe-fuzz-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::abort();
        }
        path_ = pattern;
    }
    ~PrivateFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    std::string path_;
};

#endif
