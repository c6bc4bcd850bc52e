#include "service/support/LoggedFileSystem.h"

#include <filesystem>

namespace keepsafe_test {

using keepsafe_service::OpenFile;

void LoggedFileSystem::createDirectories(const std::string& path)
{
    std::vector<std::string> missing;
    for (std::filesystem::path folder = path; !std::filesystem::exists(folder);
         folder = folder.parent_path()) {
        missing.push_back(folder.string());
    }
    for (auto folder = missing.rbegin(); folder != missing.rend(); ++folder) {
        steps_.push_back({DiskStep::CreateFolder, *folder});
    }
    UnsyncedFileSystem::createDirectories(path);
}

OpenFile LoggedFileSystem::openOrCreate(const std::string& path)
{
    if (!std::filesystem::exists(path)) {
        steps_.push_back({DiskStep::CreateFile, path});
    }
    return UnsyncedFileSystem::openOrCreate(path);
}

void LoggedFileSystem::allocate(const OpenFile& file, std::uint64_t size)
{
    steps_.push_back({DiskStep::Grow, file.path(), "", size});
    UnsyncedFileSystem::allocate(file, size);
}

void LoggedFileSystem::write(const OpenFile& file, std::uint64_t offset, std::string_view bytes)
{
    steps_.push_back({DiskStep::Write, file.path(), std::string(bytes), offset});
    UnsyncedFileSystem::write(file, offset, bytes);
}

void LoggedFileSystem::truncate(const OpenFile& file)
{
    steps_.push_back({DiskStep::Truncate, file.path()});
    UnsyncedFileSystem::truncate(file);
}

void LoggedFileSystem::sync(const OpenFile& file)
{
    steps_.push_back({DiskStep::Sync, file.path()});
    UnsyncedFileSystem::sync(file);
}

void LoggedFileSystem::syncDirectory(const std::string& path)
{
    steps_.push_back({DiskStep::SyncFolder, path});
    UnsyncedFileSystem::syncDirectory(path);
}

void LoggedFileSystem::rename(const std::string& from, const std::string& to)
{
    steps_.push_back({DiskStep::Rename, from, "", 0, to});
    UnsyncedFileSystem::rename(from, to);
}

} // namespace keepsafe_test
