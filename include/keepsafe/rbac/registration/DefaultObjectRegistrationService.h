#ifndef KEEPSAFE_RBAC_REGISTRATION_DEFAULTOBJECTREGISTRATIONSERVICE_H
#define KEEPSAFE_RBAC_REGISTRATION_DEFAULTOBJECTREGISTRATIONSERVICE_H

#include <exception>
#include <list>
#include <map>
#include <string>
#include <utility>

#include <boost/shared_ptr.hpp>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/platform/http/KSClientCURL.h>
#include <keepsafe/rbac/api/ManagedObjectState.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>
#include <keepsafe/rbac/registration/ObjectRegistrationService.h>

struct json_t;

namespace Tessara::Keepsafe::Rbac {

/// The requests that `DefaultObjectRegistrationService::sendHttpRequest` knows.
enum HttpRequestType : int {
    HTTP_REQUEST_POST = 2,   ///< answered by 201; all that the service sends today
    HTTP_REQUEST_DELETE = 3, ///< without a body; answered by 204
    HTTP_REQUEST_PATCH = 4   ///< answered by 204
};

/// Registration by requests to the master server's access-control service. Immutable after construction; each
/// request has its own HTTP client, so any number of threads may use one object.
///
/// The three operations are followed by their parts: the requests, for callers without a callback, and the
/// functions that build and read the documents, for tests, benchmarks and tools that replay exchanges. The
/// parts throw: `EC_exception` with libcurl's code when a transfer failed, the server's code for an HTTP
/// status other than the expected one, 9103 for an answer that cannot be understood, 7610 for one that is not
/// JSON, 114 when there is no HTTP client; `boost::bad_lexical_cast` for a malformed name in an answer;
/// `std::bad_alloc`, also for text that is not UTF-8.
class KEEPSAFE_API DefaultObjectRegistrationService : public ObjectRegistrationService {
public:
    static const std::string OBJECT_REGISTRATION_URI;
    static const std::string BULK_OBJECT_REGISTRATION_URI;
    static const std::string BULK_OBJECT_UPDATE_URI;
    /// For callers that ask for objects; nothing here does.
    static const std::string MANAGED_OBJECT_URI;

    /// An object's name and the names that were registered with it, including its own.
    using RegisteredObject = std::pair<ObjectNamespace, std::list<ObjectNamespace>>;
    using RegisteredObjects = std::map<ObjectNamespace, std::list<ObjectNamespace>>;
    using DataList = std::list<boost::shared_ptr<ObjectRegistrationData>>;

    /// Asks the configured master server at port 1556, authenticated by the host's certificate. Throws
    /// `EC_exception` when none is configured.
    DefaultObjectRegistrationService();
    /// The same with the caller's port and factory of HTTP clients.
    DefaultObjectRegistrationService(int port, boost::shared_ptr<KSClientCURL_BaseFactory> factory);
    ~DefaultObjectRegistrationService() override;

    /// A callback's exception gives the status that the log line of its failure shows: the one that an
    /// `EC_exception` carries, or 114 where it carries 0 or the exception is another. It is never returned.
    [[nodiscard]] int registerObject(const boost::shared_ptr<ObjectRegistrationData>& data,
                                     const boost::shared_ptr<ObjectRegistrationCallback>& callback) override;
    /// An element that is null or lacks its accessControlAttributes is a missing argument.
    [[nodiscard]] int
    bulkRegisterObjects(const DataList& data,
                        const boost::shared_ptr<BulkObjectRegistrationCallback>& callback) override;
    [[nodiscard]] int
    unregisterObject(const ObjectNamespace& objectNamespace,
                     const boost::shared_ptr<ObjectUnregistrationCallback>& callback) override;

    /// The same. `cause` is the exception that led to a status other than 0: `ServiceRefusal` or
    /// `TransferFailure` of the request that failed, or what the callback threw; when a request fails after
    /// that, the request's. Null where there was no exception.
    [[nodiscard]] int registerObject(const boost::shared_ptr<ObjectRegistrationData>& data,
                                     const boost::shared_ptr<ObjectRegistrationCallback>& callback,
                                     std::exception_ptr& cause);
    [[nodiscard]] int bulkRegisterObjects(const DataList& data,
                                          const boost::shared_ptr<BulkObjectRegistrationCallback>& callback,
                                          std::exception_ptr& cause);
    [[nodiscard]] int unregisterObject(const ObjectNamespace& objectNamespace,
                                       const boost::shared_ptr<ObjectUnregistrationCallback>& callback,
                                       std::exception_ptr& cause);

    /// Only the first phase.
    RegisteredObject
    registerObjectWithStatePending(const boost::shared_ptr<ObjectRegistrationData>& data) const;
    RegisteredObjects bulkRegisterObjectsWithStatePending(const DataList& data) const;

    /// Moves objects to the states whose lists they are in, in one request.
    void bulkUpdateObjectState(const std::list<ObjectNamespace>& ready,
                               const std::list<ObjectNamespace>& pending,
                               const std::list<ObjectNamespace>& deleted) const;
    /// Throws `EC_exception` 20 when `state` is none of the three.
    void changeObjectState(const ObjectNamespace& objectNamespace, ManagedObjectState state) const;
    void deleteObject(const ObjectNamespace& objectNamespace) const;

    /// The documents that are sent. Throw `EC_exception` 20 for data that is null or has no
    /// accessControlAttributes.
    static boost::shared_ptr<json_t>
    buildRegistrationJSON(const boost::shared_ptr<ObjectRegistrationData>& data);
    static boost::shared_ptr<json_t>
    buildRegistrationRequest(const boost::shared_ptr<ObjectRegistrationData>& data);
    static boost::shared_ptr<json_t> buildBulkRegistrationRequest(const DataList& data);
    static boost::shared_ptr<json_t> buildNamespaceStatePair(const ObjectNamespace& objectNamespace,
                                                             const std::string& state);
    static boost::shared_ptr<json_t> buildBulkStateUpdateRequest(const std::list<ObjectNamespace>& ready,
                                                                 const std::list<ObjectNamespace>& pending,
                                                                 const std::list<ObjectNamespace>& deleted);

    /// From one record of a response, which stays the caller's. Without "relationships" the list is empty.
    static RegisteredObject extractRegisteredNamespaces(const json_t* record);
    /// From a response whose whole document is one record.
    static RegisteredObject extractRegisteredNamespaces(const std::string& response);
    /// Of records of one name the first counts.
    static RegisteredObjects extractBulkRegisteredNamespaces(const std::string& response);

    /// One request. `url` is relative to the server's REST root. `response` is assigned the response's body
    /// when the request succeeded, and left as it was otherwise. A type that is none of the three sends
    /// nothing and fails like an answer without a body.
    void sendHttpRequest(HttpRequestType type, const std::string& url, const std::string& body,
                         std::string& response) const;
    void sendHttpRequest(HttpRequestType type, const std::string& url, const std::string& body) const;

private:
    int port_;
    std::string masterServer_;
    boost::shared_ptr<KSClientCURL_BaseFactory> factory_;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
