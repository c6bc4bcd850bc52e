#include "verify/ObjectCheck.h"

#include <utility>

namespace ksrbac {

using Tessara::Keepsafe::Rbac::ManagedObject;
using Tessara::Keepsafe::Rbac::NodeOffset;

ObjectCheck::ObjectCheck(const View& records, const char* file, RoleWalk& roles,
                         std::function<void(std::size_t records)> onObject)
    : records_(records), target_{file, sizeof(ManagedObject), records.count()}, roles_(roles),
      onObject_(std::move(onObject))
{
}

void ObjectCheck::examine(std::uint32_t index, const Whereabouts& name)
{
    if (isReached_.get(index)) {
        return;
    }
    isReached_.set(index, true);
    ++reachedCount_;
    if (onObject_) {
        onObject_(target_.recordCount);
    }
    const std::uint64_t byte = std::uint64_t{index} * sizeof(ManagedObject);
    const ManagedObject& object = *records_.find(static_cast<NodeOffset>(byte));
    name_ = &name;
    field_ = "own bits";
    roles_.walkFrom({object.ownBits, target_.name, byte + offsetof(ManagedObject, ownBits), field_}, *this);
    field_ = "child bits";
    roles_.walkFrom({object.childBits, target_.name, byte + offsetof(ManagedObject, childBits), field_},
                    *this);
    name_ = nullptr;
}

std::string ObjectCheck::reached() const { return std::string(field_) + " of " + name_->reached(); }

} // namespace ksrbac
