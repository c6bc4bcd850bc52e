#include "ReaderCount.h"

#include <chrono>

#include "Backoff.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

constexpr std::uint64_t READER = 1;
constexpr std::uint64_t READERS = 0xFFFFFF;
constexpr std::uint64_t TAKING = 0x1000000;
constexpr std::uint64_t RELEASING = 0x2000000;
constexpr std::uint64_t FAILURE = 0x4000000;
constexpr std::uint64_t ACQUISITION = std::uint64_t{1} << 56U;
constexpr std::uint64_t FAILURES = ACQUISITION - FAILURE;

bool asksGate(std::uint64_t word) noexcept { return (word / ACQUISITION) % 8 == 0; }

/// Waits for a thread that is taking or releasing: some system calls, unless that thread is not running.
class TransitionWait {
public:
    void pause() noexcept
    {
        if (spinUntil_ == Clock::time_point()) {
            spinUntil_ = Clock::now() + LONGEST_SPIN;
        } else if (Clock::now() >= spinUntil_) {
            sleepOnce(SLEEP);
        }
    }

private:
    static constexpr std::chrono::microseconds LONGEST_SPIN{10};
    static constexpr std::chrono::microseconds SLEEP{20};

    Clock::time_point spinUntil_;
};

} // namespace

ReaderCount::Entry ReaderCount::enter(bool nested) noexcept
{
    TransitionWait wait;
    std::uint64_t word = word_.load(std::memory_order_acquire);
    for (;;) {
        if ((word & RELEASING) != 0) {
            wait.pause();
            word = word_.load(std::memory_order_acquire);
            continue;
        }
        const bool first = (word & READERS) == 0;
        const std::uint64_t mine = READER + (first ? TAKING : 0) + (nested ? 0 : ACQUISITION);
        if (!word_.compare_exchange_weak(word, word + mine, std::memory_order_acquire)) {
            continue;
        }
        if (first || (word & TAKING) == 0 || takenByTheFirst(word)) {
            return {first, asksGate(word)};
        }
        word = word_.load(std::memory_order_acquire);
    }
}

/// Once taken, it stays taken while the caller is counted, so no later failure can be mistaken for this one.
bool ReaderCount::takenByTheFirst(std::uint64_t wordBefore) const noexcept
{
    TransitionWait wait;
    for (;;) {
        const std::uint64_t word = word_.load(std::memory_order_acquire);
        if ((word & FAILURES) != (wordBefore & FAILURES)) {
            return false;
        }
        if ((word & TAKING) == 0) {
            return true;
        }
        wait.pause();
    }
}

void ReaderCount::takingSucceeded() noexcept { word_.fetch_and(~TAKING, std::memory_order_release); }

void ReaderCount::takingFailed() noexcept
{
    std::uint64_t word = word_.load(std::memory_order_relaxed);
    while (!word_.compare_exchange_weak(word, (word & ~(READERS | TAKING)) + FAILURE,
                                        std::memory_order_release, std::memory_order_relaxed)) {
    }
}

bool ReaderCount::leave() noexcept
{
    // Release for the next thread after the last reader; acquire for the last reader, which may use what the
    // first one has set up.
    std::uint64_t word = word_.load(std::memory_order_relaxed);
    bool last = false;
    do {
        last = (word & READERS) == READER;
    } while (!word_.compare_exchange_weak(word, word - READER + (last ? RELEASING : 0),
                                          std::memory_order_acq_rel, std::memory_order_relaxed));
    return last;
}

std::size_t ReaderCount::readers() const noexcept { return word_.load() & READERS; }

void ReaderCount::released() noexcept { word_.fetch_and(~RELEASING, std::memory_order_release); }

} // namespace Tessara::Keepsafe::Platform::filelock
