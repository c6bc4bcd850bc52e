#ifndef KEEPSAFE_SANDBOX_CACHEWRITER_ERRORS_H
#define KEEPSAFE_SANDBOX_CACHEWRITER_ERRORS_H

#include <stdexcept>

namespace keepsafe_sandbox {

/// What the caller asked for cannot be published: a fault in a document or in an argument. Nothing published
/// was touched.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The system refused a step of publishing. What readers see meanwhile is described in CachePublisher.h.
class PublishError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace keepsafe_sandbox

#endif
