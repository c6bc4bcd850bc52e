#include "ForkRegistry.h"

#include <atomic>

#include "ThreadHolds.h"
#include "ThreadIndex.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

// All of these are initialised by the compiler and never destroyed, so locks work in static constructors and
// destructors, too.
std::mutex forkMutex;
ForkAware* firstObject = nullptr;
std::atomic<unsigned long> generation{0};

} // namespace

ForkAware::~ForkAware() = default;

const Process::ForkHandlers ForkRegistry::forkHandlers(beforeFork, afterForkInParent, afterForkInChild);

std::mutex& ForkRegistry::mutex() noexcept { return forkMutex; }

unsigned long ForkRegistry::processGeneration() noexcept
{
    return generation.load(std::memory_order_relaxed);
}

void ForkRegistry::add(ForkAware& object)
{
    object.next_ = firstObject;
    if (firstObject != nullptr) {
        firstObject->previous_ = &object;
    }
    firstObject = &object;
}

void ForkRegistry::remove(ForkAware& object) noexcept
{
    if (object.next_ != nullptr) {
        object.next_->previous_ = object.previous_;
    }
    (object.previous_ != nullptr ? object.previous_->next_ : firstObject) = object.next_;
}

bool ForkRegistry::anyIsHeldBy(std::uint32_t thread) noexcept
{
    for (const ForkAware* object = firstObject; object != nullptr; object = object->next_) {
        if (object->isHeldBy(thread)) {
            return true;
        }
    }
    return false;
}

void ForkRegistry::beforeFork() noexcept { forkMutex.lock(); }

void ForkRegistry::afterForkInParent() noexcept { forkMutex.unlock(); }

void ForkRegistry::afterForkInChild() noexcept
{
    generation.fetch_add(1, std::memory_order_relaxed);
    for (ForkAware* object = firstObject; object != nullptr; object = object->next_) {
        object->forgetInChild();
    }
    ThreadHolds::ofThisThread().clear();
    ThreadIndex::forgetOtherThreads();
    forkMutex.unlock();
}

} // namespace Tessara::Keepsafe::Platform::filelock
