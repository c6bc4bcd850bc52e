#ifndef KEEPSAFE_SANDBOX_CACHEWRITER_ERRORS_H
#define KEEPSAFE_SANDBOX_CACHEWRITER_ERRORS_H

#include <stdexcept>

#include "errors/InputError.h"

namespace keepsafe_sandbox {

/// The system refused a step of publishing. What readers see meanwhile is described in CachePublisher.h.
class PublishError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace keepsafe_sandbox

#endif
