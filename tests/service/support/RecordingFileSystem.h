#ifndef KEEPSAFE_TESTS_SERVICE_SUPPORT_RECORDINGFILESYSTEM_H
#define KEEPSAFE_TESTS_SERVICE_SUPPORT_RECORDINGFILESYSTEM_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "service/support/InterruptedFileSystem.h"

namespace keepsafe_test {

/// The file system, with a note of each write.
class RecordingFileSystem : public UnsyncedFileSystem {
public:
    struct Write {
        std::string file; ///< without its folder
        std::uint64_t offset;
        std::size_t size;
    };

    void write(const keepsafe_service::OpenFile& file, std::uint64_t offset, std::string_view bytes) override;

    /// The writes since the last call, which are forgotten.
    std::vector<Write> takeWrites();

private:
    std::vector<Write> writes_;
};

bool operator==(const RecordingFileSystem::Write& left, const RecordingFileSystem::Write& right);

} // namespace keepsafe_test

#endif
