#ifndef KEEPSAFE_SERVICE_CACHEWRITER_PUBLISHERROR_H
#define KEEPSAFE_SERVICE_CACHEWRITER_PUBLISHERROR_H

#include <stdexcept>

namespace keepsafe_service {

/// An access cache could not be published. What readers see meanwhile is described in CachePublisher.h.
class PublishError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace keepsafe_service

#endif
