#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_SLOTBARRIER_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_SLOTBARRIER_H

#include <cstdint>
#include <string>
#include <vector>

#include "Backoff.h"
#include "BusErrorGuard.h"
#include "LockSettings.h"
#include "SlotFolder.h"
#include "slot_files.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// A writer's side of the slots: keeps readers from entering by them and tells when those inside have left.
/// A writer may raise it before it has the exclusive kernel lock, and must ask under that lock whether it is
/// still in force: another writer may have raised and lowered it meanwhile.
///
/// Where no reader can have slots (a file system that is not known), it does nothing. Where it cannot be
/// sure (the page is there and may not be written), raising it fails.
class SlotBarrier {
public:
    /// `lockPath` must outlive the object.
    SlotBarrier(const std::string& lockPath, const LockSettings& settings);
    ~SlotBarrier();
    SlotBarrier(const SlotBarrier&) = delete;
    SlotBarrier& operator=(const SlotBarrier&) = delete;

    /// Sends newcomers to the kernel lock. Makes the control page when it is missing or damaged, and then
    /// waits until no reader relies on another one. Under the kernel lock. Throws `LockFileError`.
    void raise();
    /// The same where there is a sound page, otherwise nothing. Needs no lock.
    void raiseEarly();
    [[nodiscard]] bool isRaised() const noexcept { return raised_; }
    /// Whether it is raised and nobody has lowered it or replaced the control page since.
    [[nodiscard]] bool isInForce() const noexcept;
    /// Whether all readers have left that were inside when it was raised. Removes the files of processes that
    /// have ended. Throws `LockFileError`.
    [[nodiscard]] bool isClear();
    /// Lets readers in again.
    void lower() noexcept;

    /// In a new child, which has not inherited the mapping. The caller holds the fork mutex.
    void forgetInChild() noexcept;

private:
    /// What the page means for other processes: they know it, they may still rely on another one, or none of
    /// them can use one.
    enum class Page { IsKnown, IsNew, IsUnused };

    [[nodiscard]] bool tryRaise();
    [[nodiscard]] Page findOrMakePage();
    [[nodiscard]] bool openOrMakeFolder(SlotFolder& folder) const;
    [[nodiscard]] bool lookForReaders();
    [[nodiscard]] bool listedReadersHaveLeft();
    void hasBeenRaised(const SlotFolder& folder);
    [[nodiscard]] Page usePage(const SlotFolder& folder, const System::Descriptor& file,
                               const struct stat& status);
    [[nodiscard]] bool map(const System::Descriptor& file) noexcept;
    void unmap() noexcept;
    [[nodiscard]] bool makePage(const SlotFolder& folder);
    [[nodiscard]] bool makeFolder() const;
    [[nodiscard]] bool isOut(const SlotFolder& folder, const std::string& reader) const;
    [[nodiscard]] bool anyMayBeInsideWithoutFile(const SlotFolder& folder) const;

    const LockSettings& settings_;
    const std::string& lockPath_;
    const std::string folderPath_;
    bool raised_ = false;
    bool clear_ = false; ///< all have left that were inside
    Clock::time_point raisedAt_;
    ControlPage* page_ = nullptr; ///< mapped while the barrier is raised; null: readers have none
    FileIdentity folder_;
    FileIdentity pageFile_;
    std::uint64_t odd_ = 0; ///< what this writer made of `writes`
    BusErrorGuard busErrors_;
    std::vector<SlotFolder::Reader> inside_; ///< the files whose slots are still to be seen lowered
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
