#ifndef KSRBAC_EXIT_STATUS_H
#define KSRBAC_EXIT_STATUS_H

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

/// \file
/// How a command ends, and how it fails.

namespace ksrbac {

/// The exit status of the process. If several of the first five apply, the highest wins.
enum class ExitStatus : int {
    Good = 0,          ///< all allowed; no fault found; listed
    Negative = 1,      ///< some denied; faults found
    BadInput = 2,      ///< usage error, or an input that cannot be read or is malformed
    LibraryFailed = 3, ///< the library reported a status or failed
    OutputFailed = 4,  ///< standard output could not be written
    // With --detailed-exit-status in place of `LibraryFailed`:
    NotFound = 5,      ///< the service does not know what was asked about
    Refused = 6,       ///< the service refused
    Unreachable = 7,   ///< the service could not be reached
    CacheUnusable = 8, ///< the cache is missing, damaged, interrupted or locked
};

/// What went wrong, as scripts tell it: docs/ksrbac.md lists the kinds and their names.
enum class FailureKind {
    Usage,
    Input,
    Configuration,
    NotFound,
    Refused,
    Unreachable,
    Cache,
    Token,
    Database,
    Output,
    Failure,
};

/// The name of the kind in JSON.
[[nodiscard]] const char* nameOf(FailureKind kind) noexcept;

/// Why a command could not do what it was told to.
struct Failure {
    FailureKind kind = FailureKind::Failure;
    std::string message;
    int status = 0;           ///< of the library, or the transfer status; 0: none
    long httpStatus = 0;      ///< 0: none
    std::string command = {}; ///< what failed, with what it was about: "role get 99"; may be empty
    std::string hint = {};    ///< a line of its own below the message; may be empty
    bool isBadInput = false;  ///< the command line or an input is to be mended: `ExitStatus::BadInput`

    /// The command, if there is one, and the message.
    [[nodiscard]] std::string text() const { return command.empty() ? message : command + ": " + message; }
};

/// `detailed` tells the failures of the library and of the service apart, which are all `LibraryFailed`
/// otherwise.
[[nodiscard]] ExitStatus exitStatusOf(const Failure& failure, bool detailed) noexcept;

/// A failure on the way to the user. `what()` is its text.
class CommandFailure : public std::runtime_error {
public:
    explicit CommandFailure(Failure failure)
        : std::runtime_error(failure.text()), failure_(std::make_shared<const Failure>(std::move(failure)))
    {
    }
    [[nodiscard]] const Failure& failure() const noexcept { return *failure_; }

private:
    std::shared_ptr<const Failure> failure_;
};

/// A mistake of the caller, or an input that cannot be read or is malformed.
class InputError : public CommandFailure {
public:
    explicit InputError(const std::string& message, FailureKind kind = FailureKind::Input,
                        const std::string& hint = "")
        : CommandFailure({kind, message, 0, 0, "", hint, true})
    {
    }
};

/// A command line that is not understood. The hint is a line below the message.
class UsageError : public InputError {
public:
    explicit UsageError(const std::string& message, const std::string& hint = "")
        : InputError(message, FailureKind::Usage, hint)
    {
    }
};

/// The failure that the exception being handled stands for. `loggedError` is what the library logged last, or
/// nothing: why it threw a status that says no more.
[[nodiscard]] Failure currentFailure(const std::string& loggedError);

} // namespace ksrbac

#endif
