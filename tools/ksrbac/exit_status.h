#ifndef KSRBAC_EXIT_STATUS_H
#define KSRBAC_EXIT_STATUS_H

#include <stdexcept>

namespace ksrbac {

/// What the process tells its caller; the greater number outranks the smaller one.
enum class ExitStatus : int {
    Good = 0,          ///< all allowed; no fault found; listed
    Negative = 1,      ///< some denied; faults found
    BadInput = 2,      ///< usage error, or an input that cannot be read or is malformed
    LibraryFailed = 3, ///< the library reported a status or failed
    OutputFailed = 4,  ///< standard output could not be written
};

/// The caller's mistake, or an input of the caller's that cannot be read: `ExitStatus::BadInput`. `what()` is
/// the whole message.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace ksrbac

#endif
