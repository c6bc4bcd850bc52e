#ifndef KEEPSAFE_RBAC_API_BASEAPI_H
#define KEEPSAFE_RBAC_API_BASEAPI_H

#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/platform/http/KSClientCURL.h>

namespace Tessara::Keepsafe::Rbac {

/// Common parts of the REST clients of the access-control service: the master server that they ask, and the
/// factory of their HTTP clients. Immutable after construction; copies are cheap and share the factory.
///
/// Operations of the derived classes throw `EC_exception`: with libcurl's code when the transfer failed; with
/// the server's "errorCode", or 114, for an HTTP status other than the expected one; 7610 for a response that
/// is not JSON or lacks a member; 9103 for one of the wrong type. A request that cannot be packed is
/// `std::bad_alloc`. Nothing of a failed response is kept. Numbers of libcurl, the server and the library can
/// be the same: the exceptions are a `TransferFailure`, a `ServiceRefusal` (with HTTP status and the server's
/// message) or another `ExplainedFailure`. See service_failures.h.
class KEEPSAFE_API BaseAPI {
public:
    /// Asks the configured master server, authenticated by the host's certificate. Throws `EC_exception` when
    /// none is configured.
    BaseAPI();

    /// The same with HTTP clients from the caller's factory.
    explicit BaseAPI(boost::shared_ptr<KSClientCURL_BaseFactory> factory);

    /// A new HTTP client for the master server; the caller owns it. Throws `EC_exception` 114, with a line in
    /// the log, when there is no factory or it makes no client.
    [[nodiscard]] KSClientCURL_Base* new_curl() const;

private:
    std::string masterServer_;
    boost::shared_ptr<KSClientCURL_BaseFactory> factory_;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
