#include <keepsafe/cache/OperationCache.h>

#include <cstdint>
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
#include "fail.h"
#include "load.h"
#include "require.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

/// Guards the maps of all operation caches of the process. Lock order: this mutex, then the file lock.
ACE_RW_Thread_Mutex operationsMutex;

[[noreturn]] void throwUnreadable(const std::string& reason)
{
    diagnostics::fail(Status::FILE_UNREADABLE, "OperationCache::load",
                      "Error loading operation cache: " + reason);
}

/// The shared file lock that keeps the writer out.
class DocumentLock {
public:
    explicit DocumentLock(const std::string& path)
        : lock_(FileLockManager::instance().getLock(path + ".lck", FileLock::MissingFile::IsCreated)),
          guard_(lock_, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL)
    {
    }

private:
    const FileLock lock_;
    const FileLockGuard guard_;
};

Operation toOperation(const json_t* value)
{
    return Operation{boost::numeric_cast<std::int32_t>(json_integer_value(value))};
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
    const std::string path = fileName();
    boost::optional<DocumentLock> lock;
    try {
        lock.emplace(path);
    } catch (const EC_exception&) {
        throwUnreadable("its file lock cannot be acquired");
    }
    json_error_t error;
    const JsonHandle root = loadJsonFile(path, error);
    if (!root) {
        throwUnreadable(error.text);
    }
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(root.get(), key, value)
    {
        ObjectNamespace operation =
            boost::lexical_cast<ObjectNamespace>(key); // before its value is looked at
        // A known operation keeps its bit: checkers that use it exist.
        operations_.emplace(std::move(operation), toOperation(value));
    }
}

boost::optional<Operation> OperationCache::operator[](const ObjectNamespace& operation)
{
    constexpr char tag[] = "OperationCache::operator[]";
    {
        const ACE_Read_Guard<ACE_RW_Thread_Mutex> readGuard(operationsMutex);
        diagnostics::require(readGuard.locked(), "read_guard.locked()");
        if (auto found = find(operation)) {
            return found;
        }
    }
    logmsgf(Platform::LOG_LEVEL_NOTABLE, tag, "Operation %s not found in cache; reloading from disk",
            operation.toLogStr().c_str());
    const ACE_Write_Guard<ACE_RW_Thread_Mutex> writeGuard(operationsMutex);
    diagnostics::require(writeGuard.locked(), "write_guard.locked()");
    // Another thread may have read the file between the two locks.
    if (auto found = find(operation)) {
        return found;
    }
    load();
    auto found = find(operation);
    if (!found) {
        logmsgf(Platform::LOG_LEVEL_ERROR, tag, "Operation %s still not found in cache",
                operation.toLogStr().c_str());
    }
    return found;
}

void OperationCache::reloadIfChanged()
{
    // Determined before the file is read: if it changes in between, the next call reads it again.
    const Process::FileState now = stateOf(fileName());
    {
        const ACE_Read_Guard<ACE_RW_Thread_Mutex> readGuard(operationsMutex);
        diagnostics::require(readGuard.locked(), "read_guard.locked()");
        if (reloaded_ && *reloaded_ == now) {
            return;
        }
    }
    const ACE_Write_Guard<ACE_RW_Thread_Mutex> writeGuard(operationsMutex);
    diagnostics::require(writeGuard.locked(), "write_guard.locked()");
    load();
    reloaded_ = std::make_unique<Process::FileState>(now);
}

std::map<ObjectNamespace, Operation> OperationCache::operations() const
{
    const ACE_Read_Guard<ACE_RW_Thread_Mutex> readGuard(operationsMutex);
    diagnostics::require(readGuard.locked(), "read_guard.locked()");
    return operations_;
}

boost::optional<Operation> OperationCache::find(const ObjectNamespace& operation) const
{
    const auto found = operations_.find(operation);
    return found == operations_.end() ? boost::none : boost::optional<Operation>(found->second);
}

} // namespace Tessara::Keepsafe::Rbac
