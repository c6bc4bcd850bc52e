#ifndef KEEPSAFE_SERVICE_FILES_POSIXFILESYSTEM_H
#define KEEPSAFE_SERVICE_FILES_POSIXFILESYSTEM_H

#include "files/FileSystem.h"

namespace keepsafe_service {

/// The real file system. A process that runs under a file size limit must ignore SIGXFSZ, or the limit kills
/// it where it should get an error.
class PosixFileSystem : public FileSystem {
public:
    void createDirectories(const std::string& path) override;
    OpenFile openOrCreate(const std::string& path) override;
    void allocate(const OpenFile& file, std::uint64_t size) override;
    void write(const OpenFile& file, std::uint64_t offset, std::string_view bytes) override;
    void truncate(const OpenFile& file) override;
    void sync(const OpenFile& file) override;
    void syncDirectory(const std::string& path) override;
    void rename(const std::string& from, const std::string& to) override;
    void restrictLike(const OpenFile& file, const std::string& model) override;
};

} // namespace keepsafe_service

#endif
