#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_SLOTBARRIER_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_SLOTBARRIER_H

#include <cstdint>
#include <string>
#include <vector>

#include <keepsafe/platform/mapping/MappingGuard.h>

#include "Backoff.h"
#include "LockSettings.h"
#include "SlotFolder.h"
#include "slot_files.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// A writer's side of the slots: keeps readers from entering by them and determines when those inside have
/// left. A writer may raise it before it has the exclusive kernel lock, and must check under that lock
/// whether it is still in force: another writer may have raised and lowered it meanwhile.
///
/// If no reader can have slots (an unknown file system), it does nothing. If it cannot be sure (the page
/// exists and may not be written), raising it fails.
class SlotBarrier {
public:
    /// `lockPath` must outlive the object.
    SlotBarrier(const std::string& lockPath, const LockSettings& settings);
    ~SlotBarrier();
    SlotBarrier(const SlotBarrier&) = delete;
    SlotBarrier& operator=(const SlotBarrier&) = delete;

    /// Sends newcomers to the kernel lock. Makes the control page when it is missing or damaged, after a wait
    /// in which all readers notice. Under the exclusive kernel lock it also takes over a count that a writer
    /// left odd. False: the folder was removed meanwhile, and the barrier is not in force. Throws
    /// `LockFileError`.
    [[nodiscard]] bool raise();
    /// The same when there is a sound page with an even count, otherwise nothing. Needs no lock: while a
    /// writer is inside, the count is odd.
    void raiseEarly();
    [[nodiscard]] bool isRaised() const noexcept { return isRaised_; }
    /// Whether it is set in the control page, and nobody has lowered it or replaced the page since.
    [[nodiscard]] bool isInForce() const;
    /// Whether all readers have left that were inside when it was raised. Removes the files of processes that
    /// have ended. Throws `LockFileError`.
    [[nodiscard]] bool isClear();
    /// After `raise`: the lock has been confirmed to be this writer's. Without this another writer may have
    /// been inside by the count that was replaced.
    void confirm() noexcept { isConfirmed_ = true; }
    /// Lets readers in again. A barrier that was not confirmed leaves the count odd for the next writer.
    void lower() noexcept;

    /// In a new child, which has not inherited the mapping. The caller holds the fork mutex.
    void forgetInChild() noexcept;

private:
    /// Missing: nobody can enter by a page that does not exist yet, but perhaps by one that was removed.
    /// OfNoUse: no process can have slots here.
    enum class Page { Raised, Missing, OfNoUse };

    [[nodiscard]] Page findPage();
    [[nodiscard]] Page usePage(const SlotFolder& folder, const Process::Descriptor& file,
                               const struct stat& status);
    [[nodiscard]] bool makePage();
    [[nodiscard]] bool makeFolder() const;
    [[nodiscard]] bool map(const Process::Descriptor& file) noexcept;
    void unmap() noexcept;
    [[nodiscard]] bool lockFileHasOtherNames() const noexcept;
    [[nodiscard]] bool hasWaitedForOthersToLook() const noexcept;
    [[nodiscard]] bool listReaders();
    void list(const SlotFolder& folder);
    [[nodiscard]] bool listedReadersHaveLeft();
    [[nodiscard]] bool isOut(const SlotFolder& folder, const std::string& reader) const;
    [[nodiscard]] bool anyMayBeInsideWithoutFile(const SlotFolder& folder) const;

    const LockSettings& settings_;
    const std::string& lockPath_;
    std::string folderPath_; ///< as it was when the barrier was raised
    bool isRaised_ = false;
    bool isConfirmed_ = false;    ///< the odd count was set while nobody else was inside
    bool isClear_ = false;        ///< everyone who was inside has left
    ControlPage* page_ = nullptr; ///< mapped while the count in it is odd; null: there is none
    FileIdentity folder_;
    FileIdentity pageFile_;
    std::uint64_t odd_ = 0; ///< the count as this writer set it
    MappingGuard busErrors_;
    std::int64_t raisedAtMs_ = 0;            ///< by the coarse clock
    std::vector<SlotFolder::Reader> inside_; ///< the files whose slots are still to be seen lowered
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
