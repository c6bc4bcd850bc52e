#include <keepsafe/platform/mapping/MappingGuard.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include "replace_pages.h"

namespace Tessara::Keepsafe::Platform {

namespace {

constexpr std::uintptr_t PAGE = 4096;

/// Read by the handler at any moment: the size is stored last and removed first.
struct Range {
    std::atomic<bool> isTaken;
    std::atomic<std::uintptr_t> address;
    std::atomic<MappingGuard::PageMissing> pageMissing;
    std::atomic<void*> context;
    std::atomic<std::size_t> size; ///< whole pages
};

// Initialised by the compiler and never destroyed.
std::array<Range, 4096> ranges;
std::atomic<std::size_t> usedRanges{0}; ///< all ranges from here on are free
std::atomic<bool> isInstalled{false};

const Range* rangeOf(std::uintptr_t address) noexcept
{
    const std::size_t used = usedRanges.load(std::memory_order_acquire);
    for (std::size_t i = 0; i < used; ++i) {
        const std::size_t size = ranges[i].size.load(std::memory_order_acquire);
        if (size != 0 && address - ranges[i].address.load(std::memory_order_relaxed) < size) {
            return &ranges[i];
        }
    }
    return nullptr;
}

bool replacePage(const Range& range, void* address) noexcept
{
    if (const auto pageMissing = range.pageMissing.load(std::memory_order_relaxed)) {
        pageMissing(range.context.load(std::memory_order_relaxed));
    }
    void* const page = static_cast<char*>(address) - reinterpret_cast<std::uintptr_t>(address) % PAGE;
    return Process::replacePages(page, PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS);
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
    if (isInstalled.load() || sigaction(SIGBUS, nullptr, &current) != 0 ||
        (current.sa_flags & SA_SIGINFO) != 0 || current.sa_handler != SIG_DFL) {
        return;
    }
    struct sigaction ours {};
    ours.sa_sigaction = &onBusError;
    ours.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    sigemptyset(&ours.sa_mask);
    if (sigaction(SIGBUS, &ours, nullptr) == 0) {
        isInstalled.store(true);
    }
}

/// The index of a range that is the caller's now, or -1.
int takeRange() noexcept
{
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        if (!ranges[i].isTaken.load(std::memory_order_relaxed) && !ranges[i].isTaken.exchange(true)) {
            std::size_t used = usedRanges.load();
            while (used <= i && !usedRanges.compare_exchange_weak(used, i + 1)) {
            }
            return static_cast<int>(i);
        }
    }
    return -1;
}

} // namespace

void MappingGuard::guard(const void* address, std::size_t size, PageMissing pageMissing,
                         void* context) noexcept
{
    forget();
    installOnce();
    place_ = takeRange();
    if (place_ >= 0) {
        Range& range = ranges[static_cast<std::size_t>(place_)];
        range.address.store(reinterpret_cast<std::uintptr_t>(address), std::memory_order_relaxed);
        range.pageMissing.store(pageMissing, std::memory_order_relaxed);
        range.context.store(context, std::memory_order_relaxed);
        range.size.store((size + PAGE - 1) / PAGE * PAGE, std::memory_order_release);
    }
}

void MappingGuard::forget() noexcept
{
    if (place_ >= 0) {
        Range& range = ranges[static_cast<std::size_t>(place_)];
        range.size.store(0, std::memory_order_release);
        range.isTaken.store(false, std::memory_order_release);
        place_ = -1;
    }
}

} // namespace Tessara::Keepsafe::Platform
