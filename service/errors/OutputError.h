#ifndef KEEPSAFE_SERVICE_ERRORS_OUTPUTERROR_H
#define KEEPSAFE_SERVICE_ERRORS_OUTPUTERROR_H

#include <stdexcept>

namespace keepsafe_service {

/// Standard output cannot be written. `what()` is the whole message, with the system's reason where it is
/// known.
class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace keepsafe_service

#endif
