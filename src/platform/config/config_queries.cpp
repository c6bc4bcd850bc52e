#include <keepsafe/platform/config/config.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include <sys/stat.h>

#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

#include "FileState.h"
#include "ForkHandlers.h"
#include "NoDestructor.h"
#include "config_file.h"

namespace Tessara::Keepsafe::Platform {
namespace {

constexpr int ENFORCEMENT_FEATURE = 1;

/// Distinguishes one state of the file from another without reading it.
struct Identity {
    int error = 0; ///< of the query: a missing file is a state, too
    Process::FileState file;

    friend bool operator==(const Identity& left, const Identity& right)
    {
        return left.error == right.error && left.file == right.file;
    }
};

Identity identify(const std::string& path)
{
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return {errno, {}};
    }
    // For a link, its target counts.
    if (S_ISLNK(status.st_mode) && ::stat(path.c_str(), &status) != 0) {
        return {-errno, {}};
    }
    return {0, Process::FileState(status)};
}

/// File times advance in steps of some milliseconds, so a second change within one step of the first may show
/// the same times. Until a file is older than this, it is read at each call.
constexpr std::int64_t UNSETTLED_NANOSECONDS = 50'000'000;

bool isSettled(const Identity& identity)
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t age = (now.tv_sec - identity.file.changed.tv_sec) * std::int64_t{1'000'000'000} +
                             now.tv_nsec - identity.file.changed.tv_nsec;
    return age > UNSETTLED_NANOSECONDS || age < -UNSETTLED_NANOSECONDS;
}

/// The configuration as it was read from one state of the file. Immutable.
struct Snapshot {
    std::string path;
    Identity identity;
    bool lasts; ///< until the file's identity changes; otherwise it is read again at the next call
    std::optional<Config> config; ///< empty when it could not be read
    std::string error;
};

using SnapshotPtr = std::shared_ptr<const Snapshot>;

std::mutex mutex;
const Process::HeldAcrossFork<mutex> heldAcrossFork;

/// Guarded by `mutex`.
Process::NoDestructor<SnapshotPtr> latest;

SnapshotPtr latestSnapshot()
{
    const std::lock_guard<std::mutex> guard(mutex);
    return *latest;
}

/// Makes `next` the latest snapshot. False if the previous one was of the same state with the same outcome.
bool publish(const SnapshotPtr& next)
{
    SnapshotPtr before = next;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        latest->swap(before);
    }
    return before == nullptr || before->path != next->path || !(before->identity == next->identity) ||
           before->error != next->error;
}

SnapshotPtr read(const std::string& path, const Identity& identity)
{
    const bool settled = isSettled(identity);
    Snapshot snapshot{path, identity, false, std::nullopt, {}};
    try {
        snapshot.config = detail::loadConfigFrom(path);
        snapshot.lasts = settled;
    } catch (const ConfigError& error) {
        // Not reused: the cause of the failure may pass without a change of the file, such as a lack of
        // descriptors or a folder's permissions.
        snapshot.error = error.what();
    }
    return std::make_shared<const Snapshot>(std::move(snapshot));
}

/// The current configuration. A failure to read it is logged under `tag` once per state.
SnapshotPtr currentSnapshot(const char* tag)
{
    const std::string path = configPath();
    // The query comes before the reading: a change between the two is found by the next call.
    const Identity identity = identify(path);
    SnapshotPtr snapshot = latestSnapshot();
    if (snapshot != nullptr && snapshot->lasts && snapshot->path == path && snapshot->identity == identity) {
        return snapshot;
    }
    snapshot = read(path, identity);
    if (publish(snapshot) && !snapshot->config) {
        logmsgf(LOG_LEVEL_ERROR, tag, "%s", snapshot->error.c_str());
    }
    return snapshot;
}

/// A root that was mistyped has no configuration either, and everything would be allowed without a word.
void tellThatEverythingIsAllowed(const Snapshot& snapshot)
{
    static std::atomic<bool> told{false};
    if (snapshot.identity.error == ENOENT && !told.exchange(true)) {
        logmsgf(LOG_LEVEL_NOTABLE, "IsFeatureEnabled_c",
                "There is no configuration file %s: role-based enforcement is off, and everything is allowed",
                snapshot.path.c_str());
    }
}

int copyName(const std::string& name, char* buffer, unsigned long size)
{
    if (name.empty()) {
        return Status::CONVERSION_FAILED;
    }
    if (name.size() >= size) {
        return Status::INVALID_ARGUMENT;
    }
    std::memcpy(buffer, name.c_str(), name.size() + 1);
    return Status::SUCCESS;
}

} // namespace

std::shared_ptr<const Config> currentConfig(const char* tag)
{
    const SnapshotPtr snapshot = currentSnapshot(tag);
    if (!snapshot->config) {
        throw ConfigError(snapshot->error);
    }
    return {snapshot, &*snapshot->config};
}

} // namespace Tessara::Keepsafe::Platform

namespace Platform = Tessara::Keepsafe::Platform;
namespace Status = Tessara::Keepsafe::Status;

int IsFeatureEnabled_c(int feature)
{
    try {
        const Platform::SnapshotPtr snapshot = Platform::currentSnapshot("IsFeatureEnabled_c");
        if (!snapshot->config || snapshot->config->enabledFeatures.count(feature) != 0) {
            return 1;
        }
        if (feature == Platform::ENFORCEMENT_FEATURE) {
            Platform::tellThatEverythingIsAllowed(*snapshot);
        }
        return 0;
    } catch (const std::exception&) {
        return 1;
    }
}

int db_getservernameEx(char* buffer, unsigned long size)
{
    if (buffer == nullptr || size == 0) {
        return Status::INVALID_ARGUMENT;
    }
    buffer[0] = '\0';
    try {
        const Platform::SnapshotPtr snapshot = Platform::currentSnapshot("db_getservernameEx");
        return snapshot->config ? Platform::copyName(snapshot->config->masterServer, buffer, size)
                                : Status::FILE_UNREADABLE;
    } catch (const std::exception&) {
        return Status::FILE_UNREADABLE;
    }
}
