#include <keepsafe/cache/OperationCache.h>

#include <cstdint>
#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <utility>

#include <ace/Guard_T.h>
#include <ace/RW_Thread_Mutex.h>
#include <boost/lexical_cast.hpp>
#include <boost/numeric/conversion/cast.hpp>
#include <sys/stat.h>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

#include "FileState.h"
#include "ForkHandlers.h"
#include "fail.h"
#include "load.h"
#include "require.h"
#include "tell.h"
#include "world_writable.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char LOAD_TAG[] = "OperationCache::load";

/// Guards the maps of all operation caches of the process. Nobody waits for anything, logs or allocates while
/// it is held exclusively: operations that are known are found at any time.
ACE_RW_Thread_Mutex operationsMutex;

/// Held while the file is read: of the threads that miss at the same time one reads it. Lock order: the
/// file's lock, this mutex, `operationsMutex`. So nobody waits for the file's lock with a mutex in hand.
std::mutex readingMutex;

/// A fork happens while no map is being changed, and waits for no file. The child has none of the other
/// threads that held the mutexes, so it begins with new ones.
const Process::ForkHandlers forkHandlers([] { static_cast<void>(operationsMutex.acquire_read()); },
                                         [] { static_cast<void>(operationsMutex.release()); },
                                         [] {
                                             static_cast<void>(operationsMutex.release());
                                             new (&operationsMutex) ACE_RW_Thread_Mutex;
                                             new (&readingMutex) std::mutex;
                                         });

[[noreturn]] void throwUnreadable(const std::string& reason)
{
    diagnostics::fail(Status::FILE_UNREADABLE, LOAD_TAG, "Error loading operation cache: " + reason);
}

/// The shared file lock that keeps the writer out.
class DocumentLock {
public:
    DocumentLock()
        : lock_(FileLockManager::instance().getLock(OperationCache::fileName() + ".lck",
                                                    FileLock::MissingFile::IsCreated))
    {
        try {
            guard_.emplace(lock_, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
        } catch (const EC_exception&) {
            throwUnreadable("its file lock cannot be acquired");
        }
    }

private:
    const FileLock lock_;
    boost::optional<FileLockGuard> guard_;
};

Operation toOperation(const json_t* value)
{
    return Operation{boost::numeric_cast<std::int32_t>(json_integer_value(value))};
}

/// Adds the operations of the document up to the first that cannot be converted, and returns the exception of
/// that one.
std::exception_ptr convert(const JsonHandle& document, std::map<ObjectNamespace, Operation>& operations)
{
    try {
        const char* key = nullptr;
        json_t* value = nullptr;
        json_object_foreach(document.get(), key, value)
        {
            ObjectNamespace operation =
                boost::lexical_cast<ObjectNamespace>(key); // before its value is looked at
            operations.emplace(std::move(operation), toOperation(value));
        }
        return nullptr;
    } catch (...) {
        return std::current_exception();
    }
}

/// A missing file has a state, too: that of no file.
Process::FileState stateOf(const std::string& path)
{
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? Process::FileState(status) : Process::FileState();
}

} // namespace

OperationCache::OperationCache() = default;
OperationCache::~OperationCache() = default;

std::string OperationCache::fileName()
{
    return Platform::installationRoot() + "/wmc/webserver/temp/operation-cache.json";
}

void OperationCache::load()
{
    const diagnostics::TellAfterwards tellAfterwards; // a log that is stuck must not keep the writer out
    const DocumentLock lock;
    const std::lock_guard<std::mutex> reading(readingMutex);
    read();
}

/// The caller holds the file's lock and `readingMutex`.
void OperationCache::read()
{
    const std::string path = fileName();
    json_error_t error;
    const JsonHandle root = loadJsonFile(path, error);
    if (!root) {
        throwUnreadable(error.text);
    }
    diagnostics::warnIfWorldWritable(LOAD_TAG, path);
    std::map<ObjectNamespace, Operation> operations;
    const std::exception_ptr failure = convert(root, operations);
    add(operations);
    if (failure) {
        std::rethrow_exception(failure);
    }
}

/// A known operation keeps its bit: checkers that use it exist.
void OperationCache::add(std::map<ObjectNamespace, Operation>& operations)
{
    const ACE_Write_Guard<ACE_RW_Thread_Mutex> writeGuard(operationsMutex);
    diagnostics::require(writeGuard.locked(), "write_guard.locked()");
    operations_.merge(operations);
}

boost::optional<Operation> OperationCache::operator[](const ObjectNamespace& operation)
{
    constexpr char tag[] = "OperationCache::operator[]";
    if (auto found = find(operation)) {
        return found;
    }
    logmsgf(Platform::LOG_LEVEL_NOTABLE, tag, "Operation %s not found in cache; reloading from disk",
            operation.toLogStr().c_str());
    auto found = findInFile(operation);
    if (!found) {
        logmsgf(Platform::LOG_LEVEL_ERROR, tag, "Operation %s still not found in cache",
                operation.toLogStr().c_str());
    }
    return found;
}

boost::optional<Operation> OperationCache::findInFile(const ObjectNamespace& operation)
{
    const diagnostics::TellAfterwards tellAfterwards;
    const DocumentLock lock;
    const std::lock_guard<std::mutex> reading(readingMutex);
    // Another thread may have read the file meanwhile.
    if (auto found = find(operation)) {
        return found;
    }
    read();
    return find(operation);
}

void OperationCache::reloadIfChanged()
{
    // Determined before the file is read: if it changes in between, the next call reads it again.
    const Process::FileState now = stateOf(fileName());
    if (isReloaded(now)) {
        return;
    }
    const diagnostics::TellAfterwards tellAfterwards;
    const DocumentLock lock;
    const std::lock_guard<std::mutex> reading(readingMutex);
    if (isReloaded(now)) {
        return; // another thread has read the file meanwhile
    }
    read();
    auto reloaded = std::make_unique<Process::FileState>(now);
    const ACE_Write_Guard<ACE_RW_Thread_Mutex> writeGuard(operationsMutex);
    diagnostics::require(writeGuard.locked(), "write_guard.locked()");
    reloaded_.swap(reloaded);
}

bool OperationCache::isReloaded(const Process::FileState& file) const
{
    const ACE_Read_Guard<ACE_RW_Thread_Mutex> readGuard(operationsMutex);
    diagnostics::require(readGuard.locked(), "read_guard.locked()");
    return reloaded_ && *reloaded_ == file;
}

std::map<ObjectNamespace, Operation> OperationCache::operations() const
{
    const ACE_Read_Guard<ACE_RW_Thread_Mutex> readGuard(operationsMutex);
    diagnostics::require(readGuard.locked(), "read_guard.locked()");
    return operations_;
}

boost::optional<Operation> OperationCache::find(const ObjectNamespace& operation) const
{
    const ACE_Read_Guard<ACE_RW_Thread_Mutex> readGuard(operationsMutex);
    diagnostics::require(readGuard.locked(), "read_guard.locked()");
    const auto found = operations_.find(operation);
    return found == operations_.end() ? boost::none : boost::optional<Operation>(found->second);
}

} // namespace Tessara::Keepsafe::Rbac
