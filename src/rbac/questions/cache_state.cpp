#include <keepsafe/rbac/questions/cache_state.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <sys/stat.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/detail/records.h>
#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/status/status_codes.h>

#include "disk_client.h"
#include "fail.h"
#include "read_file.h"
#include "tell.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using Nanoseconds = std::chrono::nanoseconds;

constexpr char STATE_TAG[] = "cacheState";
constexpr char MAGIC[] = "KSACACHE";
constexpr std::uint32_t FORMAT_VERSION = 1;

/// The header with the fields that are the writer's own; docs/cache_format.md draws it.
struct Header {
    char magic[8];
    std::uint32_t formatVersion;
    std::uint32_t generation[2]; ///< lower half first; not aligned for 64 bits
    std::uint8_t writeInProgress;
    std::uint8_t unused[7];
    NodeOffset segmentRoot;
    std::uint32_t objectRecords; ///< in use, the reserved ones included
    std::uint32_t nodeRecords;
    std::uint32_t segmentRecords;
    std::uint32_t countRecords;
    std::uint64_t accessDefinitions;
    std::uint8_t reserved[8];
};
static_assert(sizeof(Header) == 64);
static_assert(offsetof(Header, writeInProgress) == offsetof(detail::MetadataHeader, writeInProgress));

[[noreturn]] void failUnreadable(const std::string& path, int failure)
{
    diagnostics::fail(Status::CACHE_UNUSABLE, STATE_TAG, path + ": " + Process::failureText(failure));
}

Process::Descriptor open(const std::string& path)
{
    int failure = 0;
    Process::Descriptor file = Process::openRegularFile(path, failure);
    if (!file.isOpen()) {
        failUnreadable(path, failure);
    }
    return file;
}

struct stat statusOf(const std::string& path)
{
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        failUnreadable(path, errno);
    }
    return status;
}

std::uint64_t recordsOf(const std::string& path, std::size_t recordSize)
{
    const auto size = static_cast<std::uint64_t>(statusOf(path).st_size);
    return std::max<std::uint64_t>(size / recordSize, 1) - 1;
}

std::uint64_t withoutReserved(std::uint32_t records) { return records == 0 ? 0 : records - 1; }

void describeHeader(const Header& header, const std::string& directory, CacheState& state)
{
    const bool isOurs =
        std::memcmp(header.magic, MAGIC, sizeof header.magic) == 0 && header.formatVersion == FORMAT_VERSION;
    if (isOurs) {
        state.generation = header.generation[0] | std::uint64_t{header.generation[1]} << 32U;
        state.accessDefinitions = header.accessDefinitions;
        state.objects = withoutReserved(header.objectRecords);
        state.segments = withoutReserved(header.segmentRecords);
        state.nodes = withoutReserved(header.nodeRecords);
    } else {
        state.objects = recordsOf(directory + '/' + AccessCache::OBJECT_FILE_NAME, sizeof(ManagedObject));
        state.segments =
            recordsOf(directory + '/' + AccessCache::SEGMENT_FILE_NAME, sizeof(detail::SegmentNode));
        state.nodes = recordsOf(directory + '/' + AccessCache::NODE_FILE_NAME, sizeof(detail::BitsNode));
    }
}

void describeFile(const struct stat& status, CacheState& state)
{
    using Clock = std::chrono::system_clock;
    const Nanoseconds changed =
        std::chrono::seconds(status.st_mtim.tv_sec) + Nanoseconds(status.st_mtim.tv_nsec);
    state.lastChange = Clock::time_point(std::chrono::duration_cast<Clock::duration>(changed));
    state.age = std::max(Nanoseconds(0), Nanoseconds(Clock::now() - state.lastChange));
    state.stamp = std::to_string(state.generation.value_or(0)) + '-' + std::to_string(changed.count()) + '-' +
                  std::to_string(status.st_dev) + '-' + std::to_string(status.st_ino);
}

} // namespace

boost::optional<CacheState> cacheState(AccessControlClient& client)
{
    const DiskAccessControlClient* const disk = diskClient(client);
    if (disk == nullptr) {
        return boost::none;
    }
    return cacheState(disk->accessCache()->manifest().directory);
}

CacheState cacheState(const std::string& directory)
{
    const FileLock lock =
        FileLockManager::instance().getLock(directory + '/' + AccessCache::MANIFEST_FILE_NAME);
    const diagnostics::TellAfterwards tellAfterwards; // when the lock has been released
    const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    const std::string path = directory + '/' + AccessCache::METADATA_FILE_NAME;
    const Process::Descriptor file = open(path);
    struct stat status {};
    std::string bytes;
    if (::fstat(file.get(), &status) != 0) {
        failUnreadable(path, errno);
    }
    if (const int failure = Process::readAll(file, bytes, sizeof(Header)); failure != 0 && failure != EFBIG) {
        failUnreadable(path, failure);
    }
    if (bytes.size() < sizeof(detail::MetadataHeader)) {
        diagnostics::fail(Status::CACHE_UNUSABLE, STATE_TAG, path + ": the header is not complete");
    }
    Header header{};
    std::memcpy(&header, bytes.data(), std::min(bytes.size(), sizeof header));
    CacheState state;
    state.isInterrupted = header.writeInProgress != 0;
    describeHeader(header, directory, state);
    describeFile(status, state);
    return state;
}

} // namespace Tessara::Keepsafe::Rbac
