#include <chrono>
#include <fstream>
#include <optional>
#include <string>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/filelock/lock_state.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "doctor/Examination.h"
#include "doctor/HeardLog.h"

namespace ksrbac {

namespace Platform = Tessara::Keepsafe::Platform;

namespace {

constexpr char WHAT[] = "cache lock";
constexpr char SLOTS[] = "reader slots";

using Control = Platform::ReaderSlotsState::Control;
using Registration = Platform::ReaderSlotsState::Registration;

std::string lockFileOf(const Examination& examination)
{
    return *examination.cacheDirectory + '/' + Tessara::Keepsafe::Rbac::AccessCache::MANIFEST_FILE_NAME;
}

std::string commandOf(std::int32_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

/// "process 4711 (ksrbacd)".
std::string holdersText(const Platform::FileLockState& state)
{
    std::string text;
    for (const std::int32_t process : state.writers) {
        text += (text.empty() ? "process " : ", process ") + std::to_string(process) + " (" +
                commandOf(process) + ')';
    }
    return text.empty() ? "a process of another user" : text;
}

void describeTimeout(const std::string& path, Examination& examination)
{
    const Platform::FileLockState state = Platform::fileLockState(path);
    const std::string time = std::to_string(examination.scope.timeout.count()) + " s";
    if (state.kernel != Platform::FileLockState::Kernel::Exclusive) {
        examination.warn(WHAT, path + " could not be taken for " + time + ", though no writer has it now",
                         "run the doctor again; if this stays, see which processes write the cache");
        return;
    }
    examination.fail(WHAT,
                     path + " is held exclusively by " + holdersText(state) + ", for " + time +
                         " or longer: checks wait for it",
                     "see what that process does; if it is stopped or hangs, let it go on or end it");
}

void takeLock(const std::string& path, Examination& examination)
{
    using std::chrono::milliseconds;
    const auto begin = std::chrono::steady_clock::now();
    const FileLock lock = FileLockManager::instance().getLock(path);
    const FileLockGuard guard(lock, FileLock::SHARED,
                              static_cast<int>(milliseconds(examination.scope.timeout).count()),
                              FileLock::DEFAULT_INTERVAL);
    const auto waited = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
    examination.isLockFree = true;
    examination.ok(WHAT, guard.hasWaited() && waited > milliseconds(0)
                             ? "free after " + std::to_string(waited.count()) + " ms of waiting for a writer"
                             : "free");
}

std::string countsText(const Platform::ReaderSlotsState& slots)
{
    if (slots.processes == 0) {
        return "no process has any now";
    }
    return std::to_string(slots.processes) + (slots.processes == 1 ? " process" : " processes") + ", " +
           std::to_string(slots.used) + " of " + std::to_string(slots.slots) + " slots taken, " +
           std::to_string(slots.raised) + " raised";
}

/// The count of writes is odd though no writer has the lock or waits for it.
bool hasDeadWriter(const std::string& path)
{
    const Platform::FileLockState state = Platform::fileLockState(path);
    return state.slots.isWriterAnnounced && !state.isGateShut &&
           state.kernel != Platform::FileLockState::Kernel::Exclusive;
}

std::string ownText(Registration registration)
{
    switch (registration) {
    case Registration::Possible:
        return "";
    case Registration::NoPermission:
        return "; this user may not make any and reads by the kernel lock, which is slower";
    case Registration::OtherFileSystem:
        return "; this file system has none, so that all read by the kernel lock, which is slower";
    case Registration::NothingToJoin:
        break;
    }
    return "; the next writer makes them";
}

} // namespace

void checkLock(Examination& examination)
{
    if (!examination.cacheDirectory) {
        examination.skip(WHAT, "there is no cache to examine");
        return;
    }
    const std::string path = lockFileOf(examination);
    const HeardLog log;
    try {
        examination.slots = Platform::fileLockState(path).slots;
        takeLock(path, examination);
    } catch (const FileLockTimeout&) {
        describeTimeout(path, examination);
    } catch (const EC_exception&) {
        examination.fail(WHAT, log.reason(path + " cannot be locked"),
                         "let the service publish the cache again");
    }
}

void checkReaderSlots(Examination& examination)
{
    if (!examination.slots) {
        examination.skip(SLOTS, "there is no lock to look at");
        return;
    }
    const Platform::ReaderSlotsState& slots = *examination.slots;
    if (slots.control == Control::Unusable) {
        examination.warn(
            SLOTS, slots.folder + "/control cannot be used: all read by the kernel lock, which is slower",
            "the next writer makes it again; if it does not, see who may write the folder");
    } else if (examination.isLockFree && hasDeadWriter(lockFileOf(examination))) {
        examination.warn(
            SLOTS, "the last writer ended in the middle: all read by the kernel lock, which is slower",
            "it ends with the next write of the cache, for which any change at the service will do");
    } else {
        examination.ok(SLOTS, countsText(slots) + ownText(slots.registration));
    }
}

} // namespace ksrbac
