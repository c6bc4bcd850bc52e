#ifndef KSRBAC_EXIT_STATUS_H
#define KSRBAC_EXIT_STATUS_H

#include <stdexcept>

namespace ksrbac {

/// The exit status of the process; if several apply, the highest wins.
enum class ExitStatus : int {
    Good = 0,          ///< all allowed; no fault found; listed
    Negative = 1,      ///< some denied; faults found
    BadInput = 2,      ///< usage error, or an input that cannot be read or is malformed
    LibraryFailed = 3, ///< the library reported a status or failed
    OutputFailed = 4,  ///< standard output could not be written
};

/// A mistake of the caller, or an input that cannot be read: `ExitStatus::BadInput`. `what()` is the whole
/// message.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace ksrbac

#endif
