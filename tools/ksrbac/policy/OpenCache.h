#ifndef KSRBAC_POLICY_OPENCACHE_H
#define KSRBAC_POLICY_OPENCACHE_H

#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/client/AccessControlClient.h>

namespace ksrbac {

/// An access cache whose content is read.
class OpenCache {
public:
    /// Throws what the library throws.
    explicit OpenCache(const std::string& idOrDirectory);

    [[nodiscard]] Tessara::Keepsafe::Rbac::AccessControlClient& client() const { return *client_; }
    /// Whether nothing was published since it was opened.
    [[nodiscard]] bool isAsOpened() const;
    /// Throws `std::runtime_error` that names the cache unless it is as it was opened.
    void requireAsOpened() const;

private:
    std::string name_;
    Tessara::Keepsafe::Rbac::OperationCache operations_; ///< of the client, which it outlives
    boost::shared_ptr<Tessara::Keepsafe::Rbac::AccessControlClient> client_;
    std::string stamp_;
};

} // namespace ksrbac

#endif
