#ifndef KEEPSAFE_BENCH_PEERS_PRIVATEFOLDER_H
#define KEEPSAFE_BENCH_PEERS_PRIVATEFOLDER_H

#include <filesystem>
#include <string>

namespace keepsafe_bench {

/// A new folder where temporary files go (`TMPDIR` chooses the file system), removed at the end.
class PrivateFolder {
public:
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    [[nodiscard]] std::string path() const { return path_.string(); }
    [[nodiscard]] std::string path(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

} // namespace keepsafe_bench

#endif
