#ifndef KEEPSAFE_TESTS_SERVICE_SUPPORT_LOGGEDFILESYSTEM_H
#define KEEPSAFE_TESTS_SERVICE_SUPPORT_LOGGEDFILESYSTEM_H

#include <cstdint>
#include <string>
#include <vector>

#include "service/support/InterruptedFileSystem.h"

namespace keepsafe_test {

/// A step of a writer, with what is needed to take it again elsewhere.
struct DiskStep {
    enum Kind { CreateFolder, CreateFile, Grow, Write, Truncate, Sync, SyncFolder, Rename };

    Kind kind;
    std::string path;
    std::string bytes = {};   ///< written
    std::uint64_t offset = 0; ///< of them; the size that a file grows to
    std::string newPath = {}; ///< after a rename
};

/// The file system, with a note of each step that changes something or waits for the disk.
class LoggedFileSystem : public UnsyncedFileSystem {
public:
    void createDirectories(const std::string& path) override;
    keepsafe_service::OpenFile openOrCreate(const std::string& path) override;
    void allocate(const keepsafe_service::OpenFile& file, std::uint64_t size) override;
    void write(const keepsafe_service::OpenFile& file, std::uint64_t offset, std::string_view bytes) override;
    void truncate(const keepsafe_service::OpenFile& file) override;
    void sync(const keepsafe_service::OpenFile& file) override;
    void syncDirectory(const std::string& path) override;
    void rename(const std::string& from, const std::string& to) override;

    [[nodiscard]] const std::vector<DiskStep>& steps() const noexcept { return steps_; }

private:
    std::vector<DiskStep> steps_;
};

} // namespace keepsafe_test

#endif
