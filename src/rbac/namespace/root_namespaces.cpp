#include <keepsafe/rbac/namespace/root_namespaces.h>

namespace Tessara::Keepsafe::Rbac::root_namespaces {

namespace {

/// Computes the text form while only one thread knows the object, so that any number may read it later.
ObjectNamespace readyToShare(ObjectNamespace value)
{
    value.str();
    return value;
}

} // namespace

const ObjectNamespace KEEPSAFE = readyToShare(ObjectNamespace("KEEPSAFE"));
const ObjectNamespace SECURITY = readyToShare(ObjectNamespace("SECURITY"));
const ObjectNamespace MANAGE = readyToShare(ObjectNamespace("MANAGE"));
const ObjectNamespace PROTECTION = readyToShare(ObjectNamespace("PROTECTION"));
const ObjectNamespace STORAGE = readyToShare(ObjectNamespace("STORAGE"));
const ObjectNamespace DEPLOYMENT = readyToShare(ObjectNamespace("DEPLOYMENT"));
const ObjectNamespace OBJECT_TYPES = readyToShare(ObjectNamespace("OBJECT_TYPES"));
const ObjectNamespace ASSETS = readyToShare(ObjectNamespace("ASSETS"));

namespace operations {

const ObjectNamespace VIEW = readyToShare(ObjectNamespace("OPERATIONS", "VIEW"));
const ObjectNamespace ADD = readyToShare(ObjectNamespace("OPERATIONS", "ADD"));
const ObjectNamespace UPDATE = readyToShare(ObjectNamespace("OPERATIONS", "UPDATE"));
// The suffix of the constant's name avoids a macro that some systems define; the component has no suffix.
const ObjectNamespace DELETE_NS = readyToShare(ObjectNamespace("OPERATIONS", "DELETE"));
const ObjectNamespace MANAGE_ACCESS = readyToShare(ObjectNamespace("OPERATIONS", "MANAGE_ACCESS"));

} // namespace operations

} // namespace Tessara::Keepsafe::Rbac::root_namespaces
