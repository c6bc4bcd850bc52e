#include "service/support/RecordingFileSystem.h"

#include <filesystem>
#include <utility>

namespace keepsafe_test {

void RecordingFileSystem::write(const keepsafe_service::OpenFile& file, std::uint64_t offset,
                                std::string_view bytes)
{
    writes_.push_back({std::filesystem::path(file.path()).filename().string(), offset, bytes.size()});
    UnsyncedFileSystem::write(file, offset, bytes);
}

std::vector<RecordingFileSystem::Write> RecordingFileSystem::takeWrites()
{
    return std::exchange(writes_, {});
}

bool operator==(const RecordingFileSystem::Write& left, const RecordingFileSystem::Write& right)
{
    return left.file == right.file && left.offset == right.offset && left.size == right.size;
}

} // namespace keepsafe_test
