#ifndef KEEPSAFE_BENCH_CHANGE_MEASUREDFILESYSTEM_H
#define KEEPSAFE_BENCH_CHANGE_MEASUREDFILESYSTEM_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "files/PosixFileSystem.h"

namespace keepsafe_bench {

/// A write, or a wait for the disk.
struct Step {
    std::string file; ///< without its folder
    bool isSync = false;
    std::uint64_t offset = 0;
    std::string bytes;
};

/// The real file system, which records each step on the files of one folder and the time spent waiting for
/// the disk.
class MeasuredFileSystem : public keepsafe_service::PosixFileSystem {
public:
    void write(const keepsafe_service::OpenFile& file, std::uint64_t offset, std::string_view bytes) override;
    void sync(const keepsafe_service::OpenFile& file) override;
    void syncDirectory(const std::string& path) override;

    /// Starts to record steps; none are recorded before.
    void startNotes();
    [[nodiscard]] const std::vector<Step>& steps() const noexcept { return steps_; }
    [[nodiscard]] double waitedNanoseconds() const noexcept { return waited_; }

private:
    bool takesNotes_ = false;
    std::vector<Step> steps_;
    double waited_ = 0;
};

/// The same steps by bare system calls on copies of the files, which stay open.
class BareFiles {
public:
    /// Copies the files of the folder `from` to the new folder `to`.
    BareFiles(const std::filesystem::path& from, const std::filesystem::path& to);
    ~BareFiles();
    BareFiles(const BareFiles&) = delete;
    BareFiles& operator=(const BareFiles&) = delete;

    void replay(const std::vector<Step>& steps) const;

private:
    std::map<std::string, int> descriptors_;
};

} // namespace keepsafe_bench

#endif
