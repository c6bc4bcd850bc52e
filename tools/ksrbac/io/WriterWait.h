#ifndef KSRBAC_IO_WRITERWAIT_H
#define KSRBAC_IO_WRITERWAIT_H

#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include <keepsafe/platform/filelock/LockWaitListener.h>

#include "io/Console.h"

namespace ksrbac {

/// During its lifetime, prints a line for each lock that the process waits for behind a writer, and ends the
/// wait after the time that the user has set.
class WriterWait final : private Tessara::Keepsafe::Platform::LockWaitListener {
public:
    /// Without `limitSeconds` it waits without end. The console must outlive it.
    WriterWait(Console& console, std::optional<std::size_t> limitSeconds);
    ~WriterWait() override;

    /// Throws `CommandFailure` if a wait was given up: whatever the command has come to since, a lock was
    /// missing. Throws `OutputError` if results could not be written before the user was told.
    void requireLocks() const;

private:
    [[nodiscard]] bool mayWait(const std::string& lockName, long waitedMilliseconds) noexcept override;
    void tell(const std::string& lockName);

    Console& console_;
    const std::optional<std::size_t> limitSeconds_;
    LockWaitListener* const before_;
    std::mutex mutex_; ///< guards what follows
    std::set<std::string> told_;
    std::string missed_; ///< what the first wait that was given up was for
    std::exception_ptr outputFailure_;
};

} // namespace ksrbac

#endif
