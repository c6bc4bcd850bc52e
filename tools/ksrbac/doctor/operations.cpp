#include <cerrno>
#include <chrono>
#include <map>
#include <optional>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/rbac/questions/policy_contents.h>

#include "commands/load_operations.h"
#include "doctor/Examination.h"
#include "doctor/HeardLog.h"
#include "policy/OpenCache.h"
#include "read_file.h"

namespace ksrbac {

namespace Process = Tessara::Keepsafe::Process;
namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char WHAT[] = "operation cache";
constexpr char USED[] = "granted operations";
constexpr char PUBLISH[] = "let the service write it again: start ksrbacd, or restart it";
/// A walk through the cache keeps its writer waiting.
constexpr std::chrono::seconds LONGEST_WALK{1};

using Bits = std::map<std::int32_t, std::string>;

int mayRead(const std::string& path)
{
    return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0 ? 0 : errno;
}

int milliseconds(std::chrono::seconds time)
{
    return static_cast<int>(std::chrono::milliseconds(time).count());
}

/// The operations by their bits; nothing, with a finding, if two share one.
std::optional<Bits> byBits(const Rbac::OperationCache& operations, Examination& examination)
{
    Bits bits;
    for (const auto& [operation, bit] : operations.operations()) {
        const auto [known, isNew] = bits.emplace(bit.offset, operation.str());
        if (!isNew) {
            examination.fail(WHAT,
                             known->second + " and " + operation.str() + " have the same bit " +
                                 std::to_string(bit.offset) + ": who may do one may do the other",
                             PUBLISH);
            return std::nullopt;
        }
    }
    return bits;
}

/// Nothing, with a finding, if the file cannot be used.
std::optional<Bits> loadBits(const std::string& path, Examination& examination)
{
    const HeardLog log;
    try {
        const FileLock lock = FileLockManager::instance().getLock(path + ".lck");
        const FileLockGuard guard(lock, FileLock::SHARED, milliseconds(examination.scope.timeout),
                                  FileLock::DEFAULT_INTERVAL);
        Rbac::OperationCache operations;
        loadOperations(operations);
        return byBits(operations, examination);
    } catch (const FileLockTimeout&) {
        examination.fail(WHAT,
                         path + ".lck is held exclusively for longer than " +
                             std::to_string(examination.scope.timeout.count()) + " s",
                         "see which process writes the operation cache, and whether it is stopped");
    } catch (const EC_exception&) {
        examination.fail(WHAT, log.reason(path + " cannot be used"), PUBLISH);
    } catch (const std::runtime_error& error) {
        examination.fail(WHAT, error.what(), PUBLISH);
    }
    return std::nullopt;
}

/// A bit of the words that no operation has.
std::optional<std::int32_t> unknownBit(const Rbac::RoleWords& words, const Bits& bits)
{
    for (const Rbac::RoleWord& word : words) {
        for (unsigned bit = 0; bit < 32; ++bit) {
            if ((word.bits >> bit & 1U) != 0 && bits.count(word.operation(bit).offset) == 0) {
                return word.operation(bit).offset;
            }
        }
    }
    return std::nullopt;
}

void walk(const Bits& bits, Examination& examination)
{
    const OpenCache cache(*examination.cacheDirectory);
    Rbac::CachePolicySource objects(cache.client());
    const auto end = std::chrono::steady_clock::now() + LONGEST_WALK;
    Rbac::GrantedObject object;
    std::size_t count = 0;
    while (objects.next(object)) {
        std::optional<std::int32_t> unknown = unknownBit(object.onObject, bits);
        if (!unknown) {
            unknown = unknownBit(object.onChildren, bits);
        }
        if (unknown) {
            examination.fail(USED,
                             object.name + " has a grant of bit " + std::to_string(*unknown) +
                                 ", which is no operation of the operation cache",
                             "the two files are of different times: " + std::string(PUBLISH));
            return;
        }
        ++count;
        if (std::chrono::steady_clock::now() > end) {
            examination.ok(USED, "those of the first " + std::to_string(count) +
                                     " objects are known; the others were not looked at for want of time");
            return;
        }
    }
    examination.ok(USED, "all are known, on " + std::to_string(count) + " objects");
}

void checkGranted(const Bits& bits, Examination& examination)
{
    const HeardLog log;
    try {
        const FileLock lock = FileLockManager::instance().getLock(*examination.cacheDirectory + '/' +
                                                                  Rbac::AccessCache::MANIFEST_FILE_NAME);
        const FileLockGuard guard(lock, FileLock::SHARED, milliseconds(examination.scope.timeout),
                                  FileLock::DEFAULT_INTERVAL);
        walk(bits, examination);
    } catch (const std::runtime_error& error) {
        examination.skip(USED, log.reason(error.what()));
    }
}

std::optional<Bits> examineFile(Examination& examination)
{
    const std::string path = Rbac::OperationCache::fileName();
    const int failure = mayRead(path);
    if (failure == EACCES) {
        examination.cannotRead(WHAT, path, failure);
        return std::nullopt;
    }
    if (failure != 0) {
        examination.fail(WHAT, path + ": " + Process::failureText(failure) + ": checks fail with status 13",
                         PUBLISH);
        return std::nullopt;
    }
    if (mayRead(path + ".lck") == ENOENT) {
        examination.warn(WHAT,
                         path + ".lck is missing: it was not written by the service, and was not read here",
                         "'ksrbac operations' makes the lock file and reads the cache");
        return std::nullopt;
    }
    return loadBits(path, examination);
}

} // namespace

void checkOperations(Examination& examination)
{
    const std::optional<Bits> bits = examineFile(examination);
    if (bits) {
        examination.ok(WHAT, std::to_string(bits->size()) + " operations, each with a bit of its own");
    }
    if (!examination.cacheDirectory || !examination.isLockFree) {
        examination.skip(USED, "there is no cache to examine");
    } else if (!bits) {
        examination.skip(USED, "the operation cache cannot be used");
    } else {
        checkGranted(*bits, examination);
    }
}

} // namespace ksrbac
