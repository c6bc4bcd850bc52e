#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_READERSLOTS_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_READERSLOTS_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <keepsafe/platform/mapping/MappingGuard.h>

#include "CoarseClock.h"
#include "LockSettings.h"
#include "SlotFolder.h"
#include "ThreadIndex.h"
#include "slot_files.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// This process's slots for one lock: the way in for readers that makes no system call. Readers take the
/// kernel lock instead if no writer has made the control page, if the process lacks permission, if the file
/// system is unknown, if there are more threads than slots, or while a writer is active.
///
/// The mappings lie at one address for the lifetime of the object. They are renewed when a file turns out not
/// to be the one at its path, which is checked from time to time.
///
/// INVARIANT: `epoch_` is odd while the mappings must not be relied on, and a different even number after
/// they have been renewed. A reader has the lock only when the epoch is the same, and even, before it has
/// raised its slot and after it has read `writes`: then it has raised the slot that writers look at.
///
/// INVARIANT: mappings are renewed only while no thread of the process is inside.
///
/// Files that are truncated under their mappings would terminate the process with SIGBUS: see
/// MappingGuard.h. A read then yields 0, which is not a valid count of writes.
///
/// No descriptor stays open. The kernel lock on the process's file lasts as long as the mapping, because it
/// belongs to the open file, and the mapping keeps that; a host program that closes descriptors that are not
/// its own does no harm.
class ReaderSlots {
public:
    /// What a thread knows about its own slot: private memory.
    struct alignas(CACHE_LINE) Own {
        std::atomic<std::uint64_t> word{0}; ///< as in the slot, which may lag slightly
        std::uint64_t depth = 0;            ///< acquisitions held now, nested ones included
        ReaderSlot* shared = nullptr;
    };

    /// One acquisition. `slot` is null when there was none.
    struct Hold {
        Own* slot = nullptr;
        std::uint64_t writes = 0; ///< even; 0: unknown
    };

    /// `lockPath` must outlive the object.
    ReaderSlots(const std::string& lockPath, const LockSettings& settings);
    ~ReaderSlots();
    ReaderSlots(const ReaderSlots&) = delete;
    ReaderSlots& operator=(const ReaderSlots&) = delete;

    /// Removes the process's file. The lock is no longer held. The caller holds the fork mutex.
    void close() noexcept;

    /// Takes the lock for the calling thread, or once more if its slot already holds it. Never waits.
    Hold tryEnter() noexcept
    {
        bool lookIsDue = false;
        const Hold hold = enter(settings_.pathCheckInterval, lookIsDue);
        return lookIsDue ? enterAfterLook(hold) : hold;
    }

    /// Releases one acquisition of the calling thread.
    static void leave(Own& slot) noexcept
    {
        if (--slot.depth == 0) {
            lower(slot);
        }
    }

    /// Whether the calling thread holds the lock by its slot.
    [[nodiscard]] bool isHeldByThisThread() const noexcept { return isHeldBy(ThreadIndex::ofThisThread()); }
    /// The same for a thread's number. For another thread the answer may be out of date.
    [[nodiscard]] bool isHeldBy(std::uint32_t thread) const noexcept;

    /// Whether the lock file is the one at its path; for a thread that holds the lock by its slot. If not,
    /// the next acquisition checks the files.
    [[nodiscard]] bool isCurrent() noexcept;

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
    Hold enter(std::chrono::milliseconds freshness, bool& lookIsDue) noexcept;
    Hold enterAfterLook(const Hold& hold) noexcept;
    static void raise(Own& slot) noexcept;
    static void lower(Own& slot) noexcept;
    static void use(SlotFileHeader& header, std::uint32_t thread) noexcept;
    [[nodiscard]] bool lookAtFiles() noexcept;
    void examineFiles() noexcept;
    [[nodiscard]] bool filesAreCurrent() const noexcept;
    [[nodiscard]] bool anyInside() const noexcept;
    void renew();
    void findFolder();
    [[nodiscard]] bool mapFiles();
    [[nodiscard]] Process::Descriptor mapControl(const SlotFolder& folder);
    [[nodiscard]] bool mapNewFile(const SlotFolder& folder, const Process::Descriptor& control);
    [[nodiscard]] bool reserveRegion();
    void discardFile() noexcept;
    void dropMappings() noexcept;

    struct Region {
        ControlPage control;
        std::array<std::byte, ControlPage::SIZE - sizeof(ControlPage)> rest;
        SlotFile file;
    };

    using OwnSlots = std::array<Own, SlotFile::SLOTS>;

    // Read by every acquisition, and rarely written.
    std::atomic<std::uint64_t> epoch_{1};
    std::atomic<Region*> region_{nullptr}; ///< null until the first files are mapped
    std::unique_ptr<OwnSlots> own_;        ///< made before the region, and kept
    Process::Freshness look_;              ///< what `lookAtFiles` found
    const LockSettings& settings_;

    // Used under the fork mutex.
    const std::string& lockPath_;
    std::string folderPath_;
    std::string controlPath_;
    std::string slotPath_; ///< empty: this process has no file
    FileIdentity lockFile_;
    FileIdentity folder_;
    FileIdentity controlFile_;
    FileIdentity slotFile_;
    Region* reserved_ = nullptr;
    MappingGuard busErrors_;
    Process::OnceInAWhile findFolder_;
    Process::OnceInAWhile retry_; ///< of what has failed and may keep failing
};

/// Whether a check of the files is due is determined after the slot is raised: however long the thread was
/// stopped before, the files were those at their paths a short time before it raised the slot. And it is
/// determined before the epoch is read again: a thread that relies on a fresh check that has found other
/// files finds the epoch changed, too.
inline ReaderSlots::Hold ReaderSlots::enter(std::chrono::milliseconds freshness, bool& lookIsDue) noexcept
{
    Region* const region = region_.load(std::memory_order_acquire);
    const std::uint32_t thread = ThreadIndex::ofThisThread();
    const std::uint64_t epoch = epoch_.load(std::memory_order_acquire);
    if (region == nullptr || thread == ThreadIndex::NONE) {
        lookIsDue = look_.isStale(freshness);
        return {};
    }
    Own& slot = (*own_)[thread];
    if (slot.depth > 0) {
        lookIsDue = look_.isStale(freshness);
        ++slot.depth;
        // No writer has been inside since the slot was raised; one may be waiting.
        return {&slot, epoch % 2 == 0 ? region->control.writes.load() & ~std::uint64_t{1} : 0};
    }
    if (epoch % 2 != 0) {
        lookIsDue = look_.isStale(freshness);
        return {};
    }
    if (region->file.header.used.load(std::memory_order_relaxed) <= thread) {
        use(region->file.header, thread);
    }
    raise(slot);
    const std::uint64_t writes = region->control.writes.load();
    lookIsDue = look_.isStale(freshness);
    // A page that is being overwritten says nothing.
    if (writes % 2 == 0 && writes != 0 && region->control.isSound() && epoch_.load() == epoch) {
        slot.depth = 1;
        return {&slot, writes};
    }
    lower(slot);
    return {};
}

/// Sequentially consistent, and on this platform a full barrier: what is loaded afterwards is loaded after
/// all processors can see the slot raised, and its copy.
inline void ReaderSlots::raise(Own& slot) noexcept
{
    const std::uint64_t word =
        slot.word.load(std::memory_order_relaxed) + ReaderSlot::ACQUISITION + ReaderSlot::RAISED;
    slot.word.store(word, std::memory_order_relaxed);
    slot.shared->word.exchange(word);
}

inline void ReaderSlots::lower(Own& slot) noexcept
{
    const std::uint64_t word = slot.word.load(std::memory_order_relaxed) - ReaderSlot::RAISED;
    slot.shared->word.store(word, std::memory_order_release);
    slot.word.store(word, std::memory_order_release);
}

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
