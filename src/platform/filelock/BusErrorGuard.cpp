#include "BusErrorGuard.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <sys/mman.h>

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

constexpr std::uintptr_t PAGE = 4096;

/// Read by the handler at any moment: the size is stored last and removed first.
struct Range {
    std::atomic<std::uintptr_t> address;
    std::atomic<std::atomic<std::uint64_t>*> epoch;
    std::atomic<std::size_t> size;
};

// Initialised by the compiler and never destroyed.
std::array<Range, 256> ranges;
bool installed = false;

const Range* rangeOf(std::uintptr_t address) noexcept
{
    for (const Range& range : ranges) {
        const std::size_t size = range.size.load(std::memory_order_acquire);
        if (size != 0 && address - range.address.load(std::memory_order_relaxed) < size) {
            return &range;
        }
    }
    return nullptr;
}

bool replacePage(const Range& range, void* address) noexcept
{
    if (std::atomic<std::uint64_t>* const epoch = range.epoch.load(std::memory_order_relaxed)) {
        // Odd, and different from before.
        std::uint64_t before = epoch->load();
        while (!epoch->compare_exchange_weak(before, before + (before % 2 == 0 ? 1 : 2))) {
        }
    }
    void* const page = static_cast<char*>(address) - reinterpret_cast<std::uintptr_t>(address) % PAGE;
    return mmap(page, PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == page;
}

void onBusError(int signal, siginfo_t* info, void* /*context*/)
{
    const int error = errno;
    const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    const Range* const range = info->si_code == BUS_ADRERR ? rangeOf(address) : nullptr;
    if (range == nullptr || !replacePage(*range, info->si_addr)) {
        // As without this handler: the access is repeated and terminates the process. A signal sent by a
        // process must be sent again.
        struct sigaction byDefault {};
        byDefault.sa_handler = SIG_DFL;
        sigaction(signal, &byDefault, nullptr);
        if (info->si_code <= 0) {
            static_cast<void>(raise(signal));
        }
    }
    errno = error;
}

void installOnce() noexcept
{
    struct sigaction current {};
    if (installed || sigaction(SIGBUS, nullptr, &current) != 0 || (current.sa_flags & SA_SIGINFO) != 0 ||
        current.sa_handler != SIG_DFL) {
        return;
    }
    struct sigaction ours {};
    ours.sa_sigaction = &onBusError;
    ours.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    sigemptyset(&ours.sa_mask);
    installed = sigaction(SIGBUS, &ours, nullptr) == 0;
}

} // namespace

void BusErrorGuard::guard(void* address, std::size_t size, std::atomic<std::uint64_t>* epoch) noexcept
{
    forget();
    installOnce();
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        Range& range = ranges[i];
        if (range.size.load(std::memory_order_relaxed) == 0) {
            range.address.store(reinterpret_cast<std::uintptr_t>(address), std::memory_order_relaxed);
            range.epoch.store(epoch, std::memory_order_relaxed);
            range.size.store(size, std::memory_order_release);
            place_ = static_cast<int>(i);
            return;
        }
    }
}

void BusErrorGuard::forget() noexcept
{
    if (place_ >= 0) {
        ranges[static_cast<std::size_t>(place_)].size.store(0, std::memory_order_release);
        place_ = -1;
    }
}

} // namespace Tessara::Keepsafe::Platform::filelock
