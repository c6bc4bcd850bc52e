#ifndef KEEPSAFE_SERVICE_ERRORS_INPUTERROR_H
#define KEEPSAFE_SERVICE_ERRORS_INPUTERROR_H

#include <stdexcept>

namespace keepsafe_service {

/// What the caller asked for cannot be done: a fault in a document or in an argument, or something in the way
/// that is not what it should be. Nothing of what was there before was touched.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace keepsafe_service

#endif
