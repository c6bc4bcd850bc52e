#include "commands/usable_cache.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/status/status_codes.h>

#include "exit_status.h"
#include "output/escape.h"
#include "read_file.h"

namespace ksrbac {

namespace Process = Tessara::Keepsafe::Process;
using Tessara::Keepsafe::Rbac::AccessCache;

namespace {

[[noreturn]] void fail(const std::string& reason)
{
    constexpr int status = Tessara::Keepsafe::Status::CACHE_UNUSABLE;
    throw CommandFailure({FailureKind::Cache,
                          "status " + std::to_string(status) + ": " + getECmsg(status) + " (" + reason + ')',
                          status});
}

/// ": there are a, b" with the caches beside the one that is missing, for who has mistyped its name.
std::string cachesBeside(const std::string& directory)
{
    constexpr std::size_t MOST_NAMES = 10;
    const std::filesystem::path folder = std::filesystem::path(directory).parent_path();
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (std::filesystem::exists(entry->path() / AccessCache::MANIFEST_FILE_NAME, error)) {
            names.push_back(entry->path().filename().string());
        }
    }
    std::sort(names.begin(), names.end());
    std::string text;
    for (std::size_t i = 0; i < std::min(names.size(), MOST_NAMES); ++i) {
        text += (i == 0 ? "; there are: " : ", ") + escapeForMessage(names[i]);
    }
    return names.size() > MOST_NAMES ? text + ", ..." : text;
}

void requireDirectory(const CacheLocation& cache)
{
    std::error_code error;
    const auto kind = std::filesystem::status(cache.directory, error).type();
    const std::string name = escapeForMessage(cache.directory, cache.directory.size());
    if (kind == std::filesystem::file_type::not_found) {
        fail("there is no cache " + name + cachesBeside(cache.directory));
    }
    if (kind != std::filesystem::file_type::directory) {
        fail(name + ": " + (error ? error.message() : std::generic_category().message(ENOTDIR)));
    }
}

Process::Descriptor openFile(const std::string& directory, const std::string& file)
{
    const std::string path = directory + '/' + file;
    int failure = 0;
    Process::Descriptor opened = Process::openRegularFile(path, failure);
    if (!opened.isOpen()) {
        const bool isForbidden = failure == EACCES;
        fail(escapeForMessage(path, path.size()) + ": " + Process::failureText(failure) +
             (isForbidden ? ": run it as a user who may read the cache" : ""));
    }
    return opened;
}

/// A header of this product's writers tells the version of the format; one of other writers tells none.
void requireVersion(const Process::Descriptor& metadata, const std::string& directory)
{
    constexpr char MAGIC[] = "KSACACHE";
    constexpr std::uint32_t VERSION = 1;
    struct {
        char magic[8];
        std::uint32_t version;
    } header = {};
    const bool isOurs = pread(metadata.get(), &header, sizeof header, 0) == sizeof header &&
                        std::memcmp(header.magic, MAGIC, sizeof header.magic) == 0;
    if (isOurs && header.version != VERSION) {
        fail(directory + " has version " + std::to_string(header.version) +
             " of the format, and this release reads version 1");
    }
}

} // namespace

void requireUsable(const CacheLocation& cache)
{
    requireDirectory(cache);
    for (const std::string& file : {AccessCache::MANIFEST_FILE_NAME, AccessCache::OBJECT_FILE_NAME,
                                    AccessCache::NODE_FILE_NAME, AccessCache::SEGMENT_FILE_NAME}) {
        (void)openFile(cache.directory, file);
    }
    requireVersion(openFile(cache.directory, AccessCache::METADATA_FILE_NAME), cache.directory);
}

} // namespace ksrbac
