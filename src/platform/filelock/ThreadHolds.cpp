#include "ThreadHolds.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

thread_local ThreadHolds threadHolds{};

} // namespace

ThreadHolds& ThreadHolds::ofThisThread() noexcept { return threadHolds; }

void ThreadHolds::add(const void* lock, Kind kind) noexcept
{
    for (std::size_t i = 0; i < used_; ++i) {
        if (holds_[i].lock == lock) {
            ++holds_[i].depth;
            return;
        }
    }
    if (used_ < CAPACITY) {
        holds_[used_++] = {lock, kind, 1};
    }
}

void ThreadHolds::remove(const void* lock) noexcept
{
    for (std::size_t i = 0; i < used_; ++i) {
        if (holds_[i].lock == lock) {
            if (--holds_[i].depth == 0) {
                holds_[i] = holds_[--used_];
            }
            return;
        }
    }
}

} // namespace Tessara::Keepsafe::Platform::filelock
