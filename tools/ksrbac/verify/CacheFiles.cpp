#include "verify/CacheFiles.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "exit_status.h"
#include "log/HeardErrors.h"
#include "verify/manifest_check.h"

namespace ksrbac {

using Tessara::Keepsafe::Rbac::AccessCache;

namespace {

void requireDirectory(const std::string& directory)
{
    std::error_code error;
    const auto status = std::filesystem::status(directory, error);
    if (!std::filesystem::is_directory(status)) {
        const std::string reason = std::filesystem::exists(status) ? "not a directory" : error.message();
        throw InputError("cannot read the cache " + directory + ": " + reason, FailureKind::Cache);
    }
}

/// Whether the file exists. Throws for anything that is not a regular file, which could not be mapped or
/// might block.
bool isThere(const std::string& path)
{
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        return false;
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw InputError("cannot read " + path + ": " + (error ? error.message() : "not a regular file"),
                         FailureKind::Cache);
    }
    return true;
}

void openMap(std::optional<CacheFiles::Map>& map, const std::string& directory, const std::string& file,
             FaultList& faults)
{
    const std::string path = directory + '/' + file;
    if (!isThere(path)) {
        faults.add([&] { return Fault{file, 0, "the file is missing", ""}; });
        return;
    }
    try {
        map.emplace(path);
    } catch (const std::runtime_error& error) {
        throw InputError(path + ": " + error.what(), FailureKind::Cache);
    }
}

} // namespace

CacheFiles::CacheFiles(const std::string& directory, FaultList& faults)
{
    requireDirectory(directory);
    const std::string manifest = directory + '/' + AccessCache::MANIFEST_FILE_NAME;
    if (!isThere(manifest)) {
        faults.add([] {
            return Fault{AccessCache::MANIFEST_FILE_NAME, 0,
                         "the file is missing; the file lock is taken on it, so the others were not examined",
                         ""};
        });
        return;
    }
    const HeardErrors errors;
    try {
        lock_ = FileLockManager::instance().getLock(manifest);
        guard_.emplace(*lock_, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    } catch (const EC_exception&) {
        throw InputError("cannot take the file lock on " + manifest + ": " + errors.first(),
                         FailureKind::Cache);
    }
    namespace_ = checkManifest(directory, faults);
    openMap(metadata_, directory, AccessCache::METADATA_FILE_NAME, faults);
    openMap(objects_, directory, AccessCache::OBJECT_FILE_NAME, faults);
    openMap(nodes_, directory, AccessCache::NODE_FILE_NAME, faults);
    openMap(segments_, directory, AccessCache::SEGMENT_FILE_NAME, faults);
}

} // namespace ksrbac
