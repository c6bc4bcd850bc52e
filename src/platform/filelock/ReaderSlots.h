#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_READERSLOTS_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_READERSLOTS_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "CoarseClock.h"
#include "LockSettings.h"
#include "SlotFolder.h"
#include "ThreadIndex.h"
#include "slot_files.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// This process's slots for one lock: the way in for readers that makes no system call. Where it is closed -
/// no writer has made the control page, no permission, a file system that is not known, more threads than
/// slots, a writer at work - they take the kernel lock instead.
///
/// The mappings lie at one address for the lifetime of the object. They are renewed when a file turns out to
/// be another one than that at its path, which is looked at from time to time.
///
/// INVARIANT: `epoch_` is odd while the mappings must not be relied on, and it is another even number after
/// they have been renewed. A reader has the lock only when the epoch is the same, and even, before it has
/// raised its slot and after it has read `writes`: then it has raised the slot that writers look at.
///
/// INVARIANT: mappings are renewed only while none of the slots is raised.
///
/// No descriptor stays open. The kernel lock on the process's file goes with the mapping, because it belongs
/// to the open file, and a mapping keeps that; a host program that closes descriptors which are not its own
/// takes nothing away.
class ReaderSlots {
public:
    /// One acquisition. `slot` is null when it was none.
    struct Hold {
        ReaderSlot* slot = nullptr;
        std::uint64_t writes = 0; ///< even; 0: unknown
    };

    /// `lockPath` must outlive the object.
    ReaderSlots(const std::string& lockPath, const LockSettings& settings);
    /// Removes the process's file. Nobody holds the lock any more.
    ~ReaderSlots();
    ReaderSlots(const ReaderSlots&) = delete;
    ReaderSlots& operator=(const ReaderSlots&) = delete;

    /// Takes the lock for the calling thread, or once more if it has it by its slot. Never waits.
    Hold tryEnter() noexcept
    {
        const bool looks = look_.isDue(settings_.pathCheckInterval);
        if (looks) {
            lookAtFiles();
        }
        Hold hold = raise();
        if (looks) {
            hold.writes = 0; // so that whoever trusts in it looks at its own files, too
        }
        return hold;
    }

    /// Gives one acquisition of the calling thread back.
    static void leave(ReaderSlot& slot) noexcept
    {
        const std::uint64_t word = slot.word.load(std::memory_order_relaxed);
        if (ReaderSlot::isRaised(word)) {
            slot.word.store(word - 1, std::memory_order_release);
        }
    }

    /// Whether the calling thread holds the lock by its slot.
    [[nodiscard]] bool isHeldByThisThread() const noexcept;

    /// The acquisitions of this process's threads, as words of their slots; 0 for a slot that is not raised.
    /// The calling thread's latest one does not count.
    [[nodiscard]] std::vector<std::uint64_t> heldByOthers() const;
    /// Whether all of those have ended.
    [[nodiscard]] bool haveEnded(const std::vector<std::uint64_t>& words) const noexcept;

    /// A writer of this process has seen all slots lowered, or is about to open the door again. Its threads
    /// synchronise through the shared files as well, but under two addresses, and a race detector does not
    /// know that these are the same memory.
    void synchronizeWithWriter() noexcept;

    /// In a new child. The caller holds the fork mutex.
    void forgetInChild() noexcept;

private:
    Hold raise() noexcept;
    static void use(SlotFileHeader& header, std::uint32_t thread) noexcept;
    void lookAtFiles() noexcept;
    [[nodiscard]] bool filesAreCurrent() const noexcept;
    [[nodiscard]] bool anyRaised() const noexcept;
    void renew();
    [[nodiscard]] bool mapControl(const SlotFolder& folder);
    [[nodiscard]] bool mapNewFile(const SlotFolder& folder);
    [[nodiscard]] bool reserveRegion() noexcept;
    void discardFile() noexcept;

    struct Region {
        ControlPage control;
        std::array<std::byte, ControlPage::SIZE - sizeof(ControlPage)> rest;
        SlotFile file;
    };

    // Read by every acquisition, and written hardly ever.
    std::atomic<std::uint64_t> epoch_{1};
    std::atomic<Region*> region_{nullptr}; ///< null until the first files are mapped
    OnceInAWhile look_;
    const LockSettings& settings_;

    // Used under the fork mutex.
    const std::string& lockPath_;
    const std::string folderPath_;
    const std::string controlPath_;
    std::string slotPath_; ///< empty: this process has no file
    FileIdentity lockFile_;
    FileIdentity controlFile_;
    FileIdentity slotFile_;
    Region* reserved_ = nullptr;
    OnceInAWhile retry_; ///< of what has failed and may go on failing
};

inline ReaderSlots::Hold ReaderSlots::raise() noexcept
{
    Region* const region = region_.load(std::memory_order_acquire);
    const std::uint32_t thread = ThreadIndex::ofThisThread();
    if (region == nullptr || thread == ThreadIndex::NONE) {
        return {};
    }
    ReaderSlot& slot = region->file.slots[thread];
    const std::uint64_t before = slot.word.load(std::memory_order_relaxed);
    const std::uint64_t epoch = epoch_.load(std::memory_order_acquire);
    if (ReaderSlot::isRaised(before)) {
        slot.word.store(before + 1, std::memory_order_relaxed);
        // No writer has been in since the slot was raised, only at the door.
        return {&slot, epoch % 2 == 0 ? region->control.writes.load() & ~std::uint64_t{1} : 0};
    }
    if (epoch % 2 != 0) {
        return {};
    }
    if (region->file.header.used.load(std::memory_order_relaxed) <= thread) {
        use(region->file.header, thread);
    }
    slot.word.exchange(before + ReaderSlot::ACQUISITION + 1);
    const std::uint64_t writes = region->control.writes.load();
    if (writes % 2 == 0 && writes != 0 && epoch_.load() == epoch) {
        return {&slot, writes};
    }
    slot.word.store(before + ReaderSlot::ACQUISITION, std::memory_order_release);
    return {};
}

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
