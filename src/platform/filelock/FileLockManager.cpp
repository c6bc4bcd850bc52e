#include <keepsafe/platform/filelock/FileLock.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "ForkRegistry.h"
#include "State.h"

using Tessara::Keepsafe::Platform::filelock::ForkRegistry;

/// Weak references: a lock's descriptor is closed with its last handle. Guarded by the fork mutex, so that a
/// child finds the table consistent.
class __attribute__((visibility("hidden"))) FileLockManager::Impl {
public:
    std::map<std::string, std::weak_ptr<FileLock::State>> locks;

    void removeUnused()
    {
        for (auto lock = locks.begin(); lock != locks.end();) {
            lock = lock->second.expired() ? locks.erase(lock) : std::next(lock);
        }
    }
};

FileLockManager::FileLockManager() : impl_(std::make_unique<Impl>()) {}
FileLockManager::~FileLockManager() = default;

FileLockManager& FileLockManager::instance()
{
    // Never destroyed: destructors of static objects may still take locks.
    static FileLockManager& manager = *new FileLockManager;
    return manager;
}

namespace {

/// Made when the library is loaded (see `ForkHandlers`), unless a static constructor needs it before.
[[maybe_unused]] const FileLockManager& madeAtLoad = FileLockManager::instance();

} // namespace

FileLock FileLockManager::getLock(const std::string& name, FileLock::MissingFile missing)
{
    // Declared before the mutex is taken: a last reference released here takes it in its destructor.
    std::shared_ptr<FileLock::State> state;
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    const auto known = impl_->locks.find(name);
    if (known != impl_->locks.end()) {
        state = known->second.lock();
    }
    if (!state) {
        impl_->removeUnused();
        state = FileLock::State::create(name);
        impl_->locks[name] = state;
    }
    return FileLock::State::handle(state, missing);
}
