#ifndef KEEPSAFE_RBAC_REGISTRATION_OBJECTREGISTRATIONCALLBACKS_H
#define KEEPSAFE_RBAC_REGISTRATION_OBJECTREGISTRATIONCALLBACKS_H

#include <set>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

/// \file
/// What a caller does between the two phases of a registration: see `ObjectRegistrationService`.
///
/// `invoke` runs when the first phase has succeeded, `notifyFailure` with the first phase's status when it
/// has failed; never both, at most once, in the thread of the operation and before it returns. Either may
/// call the service again, for other objects.
///
/// An exception of any type from `invoke` is logged and counts as a failure of the callback. One from
/// `notifyFailure` is logged and changes nothing.

namespace Tessara::Keepsafe::Rbac {

/// The work that belongs to registering one object.
class KEEPSAFE_API ObjectRegistrationCallback {
public:
    ObjectRegistrationCallback() = default;
    ObjectRegistrationCallback(const ObjectRegistrationCallback&) = delete;
    ObjectRegistrationCallback& operator=(const ObjectRegistrationCallback&) = delete;
    virtual ~ObjectRegistrationCallback();

    /// The work, while the object is pending. 0 commits the registration, anything else rolls it back.
    [[nodiscard]] virtual int invoke() = 0;
    /// The object could not be registered; `status` says why.
    virtual void notifyFailure(int status) = 0;
};

/// The work that belongs to registering many objects.
class KEEPSAFE_API BulkObjectRegistrationCallback {
public:
    BulkObjectRegistrationCallback() = default;
    BulkObjectRegistrationCallback(const BulkObjectRegistrationCallback&) = delete;
    BulkObjectRegistrationCallback& operator=(const BulkObjectRegistrationCallback&) = delete;
    virtual ~BulkObjectRegistrationCallback();

    /// The work, while the objects are pending. Puts into `successful`, which is empty, the objects whose
    /// work succeeded: they are committed and all others rolled back. Its return value is ignored. After an
    /// exception the set is ignored: all objects are rolled back.
    virtual int invoke(std::set<ObjectNamespace>& successful) = 0;
    /// None of the objects could be registered; `status` says why.
    virtual void notifyFailure(int status) = 0;
};

/// The work that belongs to unregistering an object.
class KEEPSAFE_API ObjectUnregistrationCallback {
public:
    ObjectUnregistrationCallback() = default;
    ObjectUnregistrationCallback(const ObjectUnregistrationCallback&) = delete;
    ObjectUnregistrationCallback& operator=(const ObjectUnregistrationCallback&) = delete;
    virtual ~ObjectUnregistrationCallback();

    /// The work, while the object is pending. 0 deletes the object, anything else makes it ready again.
    [[nodiscard]] virtual int invoke() = 0;
    /// The object could not be made pending; `status` says why.
    virtual void notifyFailure(int status) = 0;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
