#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_LOCKFILE_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_LOCKFILE_H

#include <array>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sys/types.h>

namespace Tessara::Keepsafe::Platform::filelock {

/// A lock file cannot be used; `what()` is the reason without the path.
class LockFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~LockFileError() override;
};

/// The text of a system error, for messages. Allocates nothing.
class SystemErrorText {
public:
    explicit SystemErrorText(int error) noexcept;
    SystemErrorText(const SystemErrorText&) = delete;
    SystemErrorText& operator=(const SystemErrorText&) = delete;
    [[nodiscard]] const char* text() const noexcept { return text_; }

private:
    std::array<char, 128> buffer_{};
    const char* text_;
};

/// An open lock file: owner of the descriptor, and the system calls on it.
///
/// Two bytes far beyond any data are locked with open-file-description locks, which are released with the
/// last descriptor of this open file, also after a crash, but not when another descriptor of the same file is
/// closed. The data byte provides the exclusion; the gate byte says that a writer waits.
///
/// INVARIANT: the descriptor is opened and closed under the fork mutex only.
class LockFile {
public:
    enum class Access { Read, ReadWrite };
    enum class Outcome { Done, Busy, Failed };

    /// Offsets of the two bytes.
    static constexpr off_t GATE = off_t{1} << 62U;
    static constexpr off_t DATA = GATE + 1;

    LockFile() = default;
    ~LockFile();
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

    /// Opens the regular file at the path. Throws `LockFileError`. Never waits; creates nothing except, if
    /// asked to, an empty file where there is none.
    void open(const std::string& path, Access access, bool createIfMissing);
    /// Closes; a descriptor that other code has closed and perhaps reused is left alone.
    void close() noexcept;
    /// `close` for a caller that holds the fork mutex.
    void closeUnderForkMutex() noexcept;
    [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }

    /// None of these waits. `Failed` leaves the reason in `errno`.
    Outcome tryShareData() noexcept;
    Outcome tryLockData() noexcept;
    Outcome tryLockGate() noexcept;
    /// Checks the gate and takes no lock. `Busy` means that a writer keeps it shut.
    Outcome askGate() noexcept;
    /// How others hold the data byte: `type` becomes F_UNLCK, F_RDLCK or F_WRLCK. Takes no lock.
    Outcome askData(int& type) noexcept;
    Outcome unlockGate() noexcept;
    Outcome unlockData() noexcept;
    /// Data and gate together.
    Outcome unlockAll() noexcept;

    /// Whether the descriptor still refers to the file that was opened, and that file has a name. One system
    /// call.
    [[nodiscard]] bool isIntact() const noexcept;
    /// Whether it is also the file that the path now leads to.
    [[nodiscard]] bool isCurrent(const std::string& path) const noexcept;

private:
    [[nodiscard]] bool isOwnDescriptor() const noexcept;
    /// Whether the descriptor was closed or is another file's.
    [[nodiscard]] bool isForeignDescriptor() const noexcept;
    [[nodiscard]] bool hasOwnFlags() const noexcept;

    int descriptor_ = -1;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

/// One request for an open-file-description lock on `length` bytes, 0 meaning up to the end, repeated while
/// signals interrupt it. It does not wait; `Failed` leaves the reason in `errno`. `command` is F_OFD_SETLK or
/// F_OFD_GETLK, whose answer goes to `answer`.
LockFile::Outcome requestLock(int descriptor, int command, int type, off_t start, off_t length = 1,
                              struct flock* answer = nullptr) noexcept;

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
