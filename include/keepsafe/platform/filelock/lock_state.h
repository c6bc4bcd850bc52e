#ifndef KEEPSAFE_PLATFORM_FILELOCK_LOCK_STATE_H
#define KEEPSAFE_PLATFORM_FILELOCK_LOCK_STATE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <keepsafe/platform/export/export.h>

/// \file
/// How a named lock (`FileLock`) is held at one moment, for the diagnosis of a host. docs/locking.md explains
/// the words.

namespace Tessara::Keepsafe::Platform {

/// The readers' folder beside a lock file.
struct ReaderSlotsState {
    enum class Control {
        Missing, ///< no writer has made the page yet
        Sound,
        Unusable, ///< it cannot be read, or is not a page of this version
    };
    /// Whether this process could make a file for slots of its own.
    enum class Registration {
        Possible,
        NoPermission,    ///< it may not create files in the folder
        OtherFileSystem, ///< the folder is not on a file system whose files all processes map alike
        NothingToJoin,   ///< there is no folder, or no sound control page
    };

    std::string folder;
    Control control = Control::Missing;
    /// The count of writes is odd: a writer waits for readers, is inside, or died inside.
    bool isWriterAnnounced = false;
    Registration registration = Registration::NothingToJoin;
    std::size_t processes = 0;  ///< that have a file of slots now
    std::size_t leftOver = 0;   ///< files of processes that have ended; the next writer removes them
    std::size_t unreadable = 0; ///< files that this process may not read
    std::size_t slots = 0;      ///< all slots of these processes
    std::size_t used = 0;       ///< those that a thread has taken for itself
    std::size_t raised = 0;     ///< those whose thread is inside
};

/// A lock as others hold it. What this process holds itself counts, too.
struct FileLockState {
    enum class Kernel { Free, Shared, Exclusive };

    Kernel kernel = Kernel::Free;
    /// A writer waits for the lock, or has it.
    bool isGateShut = false;
    /// Who holds the kernel lock exclusively. The system shows the files of a process to its own user and to
    /// root alone: empty may mean that others hold it.
    std::vector<std::int32_t> writers;
    ReaderSlotsState slots;
};

/// Looks at the lock of that name. Takes no lock, waits for nobody, and creates and changes nothing. Throws
/// `ExplainedFailure` 12 when the lock file cannot be opened for reading or is not a regular file. Any
/// thread.
[[nodiscard]] KEEPSAFE_API FileLockState fileLockState(const std::string& path);

} // namespace Tessara::Keepsafe::Platform

#endif
