#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include <boost/assert.hpp>

namespace Tessara::Keepsafe::Rbac {

namespace {

/// The managed objects that the walk down to an object has met and that may still decide, the deepest last.
/// Room for the depth of any name in practice; deeper ones are folded into what the upper objects grant.
class PathDecision {
public:
    PathDecision(const AccessCache::Reader& reader, const std::set<int>& roleIds, const Operation& operation)
        : reader_(reader), roleIds_(roleIds), operation_(operation)
    {
    }

    void addAncestor(const ManagedObject& object)
    {
        if (object.inherit == 0) {
            count_ = 0; // nothing above it counts
            grantedAbove_ = false;
        } else if (count_ == ancestors_.size()) {
            grantedAbove_ = childGranted();
            count_ = 0;
        }
        ancestors_[count_++] = &object;
    }

    /// Whether an ancestor grants the operation on its children, asked from the deepest upwards.
    [[nodiscard]] bool childGranted() const
    {
        return std::any_of(ancestors_.rend() - static_cast<std::ptrdiff_t>(count_), ancestors_.rend(),
                           [this](const ManagedObject* ancestor) {
                               return anyRole([&](int role) {
                                   return reader_.getChildOperationBit(*ancestor, role, operation_);
                               });
                           }) ||
               grantedAbove_;
    }

    [[nodiscard]] bool ownGranted(const ManagedObject& object) const
    {
        return anyRole([&](int role) { return reader_.getOperationBit(object, role, operation_); });
    }

private:
    template <typename Holds>
    [[nodiscard]] bool anyRole(const Holds& holds) const
    {
        return std::any_of(roleIds_.begin(), roleIds_.end(), holds);
    }

    const AccessCache::Reader& reader_;
    const std::set<int>& roleIds_;
    const Operation& operation_;
    std::array<const ManagedObject*, 64> ancestors_;
    std::size_t count_ = 0;
    bool grantedAbove_ = false;
};

} // namespace

DiskAccessChecker::DiskAccessChecker(boost::shared_ptr<const AccessCache> accessCache,
                                     const std::set<int>& roleIds, const Operation& operation, int reserved)
    : accessCache_(std::move(accessCache)), roleIds_(roleIds), operation_(operation), reserved_(reserved)
{
}

bool DiskAccessChecker::checkAccess(const ObjectNamespace& object) const
{
    BOOST_ASSERT(accessCache_);
    return checkAccess(accessCache_->lock(), object);
}

bool DiskAccessChecker::checkAccess(const AccessCache::Reader& reader, const ObjectNamespace& object) const
{
    PathDecision decision(reader, roleIds_, operation_);
    const ManagedObject* named = nullptr;
    reader.visitPath(object, [&](const ManagedObject& met, bool isNamed) {
        if (isNamed) {
            named = &met;
        } else {
            decision.addAncestor(met);
        }
    });
    if (named != nullptr) {
        if (decision.ownGranted(*named)) {
            return true;
        }
        if (named->inherit == 0) {
            return false;
        }
    }
    return decision.childGranted();
}

} // namespace Tessara::Keepsafe::Rbac
