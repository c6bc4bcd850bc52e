#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_SLOT_FILES_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_SLOT_FILES_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

/// \file
/// The shared memory through which readers take the shared lock without a system call: the files of the
/// folder `<lock file>.readers`.
///
/// - `control`, made and written by writers alone: the count of writes. Readers map it read-only.
/// - `reader-<process id>-<random>`, one for each process with readers, made and written by that process
///   alone: a slot for each of its threads. The process holds a kernel lock on its file for as long as the
///   file is mapped, so a file without that lock belongs to nobody.
///
/// INVARIANT: a reader raises its slot before it reads `writes`, and a writer makes `writes` odd before it
/// reads the slots, all of them sequentially consistent. So at least one of them sees the other.

namespace Tessara::Keepsafe::Platform::filelock {

/// Processors exchange memory in lines of this size.
constexpr std::size_t CACHE_LINE = 64;

constexpr std::uint32_t SLOT_FORMAT_VERSION = 1;

/// File "control".
struct alignas(CACHE_LINE) ControlPage {
    static constexpr std::array<char, 8> MAGIC{'K', 'S', 'W', 'R', 'I', 'T', 'E', 'S'};
    static constexpr std::size_t SIZE = 4096;

    std::array<char, 8> magic;
    std::uint32_t version;
    std::uint32_t unused;
    /// Even while nobody writes, odd from before a writer looks at the slots until after its last change.
    /// Never 0, and never an even number that it was before.
    alignas(CACHE_LINE) std::atomic<std::uint64_t> writes;

    [[nodiscard]] bool isSound() const noexcept { return magic == MAGIC && version == SLOT_FORMAT_VERSION; }
};

/// Where one thread shows that it holds the lock. Written by that thread and never read by it: nothing that
/// others write there can make it believe that it has the lock.
struct alignas(CACHE_LINE) ReaderSlot {
    static constexpr std::uint64_t RAISED = 1;
    static constexpr std::uint64_t ACQUISITION = 2; ///< above that bit the thread's acquisitions are counted

    std::atomic<std::uint64_t> word;

    [[nodiscard]] static bool isRaised(std::uint64_t word) noexcept { return (word & RAISED) != 0; }
};

/// First line of a reader's file.
struct alignas(CACHE_LINE) SlotFileHeader {
    static constexpr std::array<char, 8> MAGIC{'K', 'S', 'R', 'E', 'A', 'D', 'E', 'R'};

    std::array<char, 8> magic;
    std::uint32_t version;
    /// Slots from here on have never been raised.
    std::atomic<std::uint32_t> used;
    std::int32_t processId; ///< as its own process namespace has it; for messages

    [[nodiscard]] bool isSound() const noexcept { return magic == MAGIC && version == SLOT_FORMAT_VERSION; }
};

/// File "reader-...".
struct SlotFile {
    static constexpr std::size_t SLOTS = 511;

    SlotFileHeader header;
    std::array<ReaderSlot, SLOTS> slots;
};

constexpr bool ADDRESS_FREE =
    std::atomic<std::uint64_t>::is_always_lock_free && std::atomic<std::uint32_t>::is_always_lock_free;
#ifndef __x86_64__
#error "an atomic exchange is a full barrier for all other accesses on x86-64, and the slots rely on that"
#endif
static_assert(ADDRESS_FREE, "the same memory is used by several processes");
static_assert(sizeof(ControlPage) <= ControlPage::SIZE && offsetof(ControlPage, writes) == 64);
static_assert(sizeof(ReaderSlot) == CACHE_LINE && sizeof(SlotFileHeader) == CACHE_LINE);
static_assert(sizeof(SlotFile) == 32768);

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
