#ifndef KEEPSAFE_RBAC_REGISTRATION_OBJECTREGISTRATIONSERVICE_H
#define KEEPSAFE_RBAC_REGISTRATION_OBJECTREGISTRATIONSERVICE_H

#include <list>

#include <boost/shared_ptr.hpp>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>
#include <keepsafe/rbac/registration/ObjectRegistrationCallbacks.h>
#include <keepsafe/rbac/registration/ObjectRegistrationData.h>

namespace Tessara::Keepsafe::Rbac {

/// Registers objects with the access-control service, so that permissions can be granted on them, and
/// unregisters them. There are two phases, so that the registration and the caller's own work succeed or fail
/// together: the object becomes pending and grants nothing; the caller's callback does its work; its outcome
/// commits or rolls back.
///
///                      callback succeeds     callback fails
///     register         PENDING -> READY      PENDING -> DELETED
///     unregister       PENDING -> DELETED    PENDING -> READY
///
/// The operations return a status and never throw. 0: committed. 20: an argument is missing; nothing was
/// sent, and no callback was called. When the first phase fails its status is returned, after
/// `notifyFailure`: libcurl's code, the server's code, 9103 for an answer that cannot be understood, or 114.
/// Other statuses are listed with the operations. After a process that ends between the phases, or a second
/// phase that fails, the object stays as the service has it, usually pending: see docs/registration.md.
///
/// Any thread, each with its own arguments: neither data nor callbacks are locked. The caller keeps its
/// arguments alive until the call returns; nothing refers to them afterwards.
class KEEPSAFE_API ObjectRegistrationService {
public:
    ObjectRegistrationService() = default;
    ObjectRegistrationService(const ObjectRegistrationService&) = delete;
    ObjectRegistrationService& operator=(const ObjectRegistrationService&) = delete;
    virtual ~ObjectRegistrationService();

    /// Registers one object with its children. 8022: the callback failed, and the registration was rolled
    /// back; 8024: the callback succeeded, but the commit failed; 8025: the callback failed, and so did the
    /// rollback.
    [[nodiscard]] virtual int
    registerObject(const boost::shared_ptr<ObjectRegistrationData>& data,
                   const boost::shared_ptr<ObjectRegistrationCallback>& callback) = 0;

    /// Registers many objects, all of them or none in the first phase. 8022: at least one object of the list
    /// was not reported as successful; those that were are committed and the others rolled back. 8030: the
    /// update that does both failed.
    ///
    /// The callback's set is compared with the list by size: a name in it that was not registered counts as
    /// one object and has no other effect, and an object that the list names twice cannot be reported twice.
    [[nodiscard]] virtual int
    bulkRegisterObjects(const std::list<boost::shared_ptr<ObjectRegistrationData>>& data,
                        const boost::shared_ptr<BulkObjectRegistrationCallback>& callback) = 0;

    /// Unregisters one object. 8023: the callback failed, and the object is ready again; 8024: the callback
    /// succeeded, but the deletion failed; 8025: the callback failed, and so did making the object ready.
    [[nodiscard]] virtual int
    unregisterObject(const ObjectNamespace& objectNamespace,
                     const boost::shared_ptr<ObjectUnregistrationCallback>& callback) = 0;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
