#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include <array>
#include <cstddef>
#include <utility>

#include <boost/assert.hpp>

#include "CacheWalk.h"
#include "ThreadCounts.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using detail::CacheWalk;
using detail::RoleAnswer;
using detail::RoleIds;

/// The managed objects above an object, met on the walk down to it, the deepest last. There is room for the
/// depth of any name in practice; for deeper ones the answer of the upper objects is kept.
class Ancestors {
public:
    Ancestors(const CacheWalk& walk, const RoleIds& roleIds, const Operation& operation)
        : walk_(walk), roleIds_(roleIds), operation_(operation)
    {
    }

    void add(const ManagedObject& object)
    {
        if (__builtin_expect(count_ == met_.size(), 0)) {
            grantedAbove_ = childGranted();
            count_ = 0;
        }
        __builtin_prefetch(&object);
        met_[count_++] = &object;
    }

    /// Whether an ancestor grants the operation on its children, checked from the deepest upwards as far as
    /// grants are inherited.
    [[nodiscard]] RoleAnswer childGranted() const
    {
        for (std::size_t i = count_; i-- > 0;) {
            const RoleAnswer answer = walk_.anyRoleHolds(met_[i]->childBits, roleIds_, operation_);
            if (answer.kind != RoleAnswer::DENIED || met_[i]->inherit == 0) {
                return answer;
            }
        }
        return grantedAbove_;
    }

private:
    const CacheWalk& walk_;
    const RoleIds& roleIds_;
    const Operation& operation_;
    std::array<const ManagedObject*, 64> met_;
    std::size_t count_ = 0;
    RoleAnswer grantedAbove_ = RoleAnswer::denied();
};

constexpr std::size_t CACHE_LINE = 64;

} // namespace

DiskAccessChecker::DiskAccessChecker(boost::shared_ptr<const AccessCache> accessCache,
                                     const std::set<int>& roleIds, const Operation& operation, int reserved)
    : accessCache_(std::move(accessCache)), reserved_(reserved), operation_(operation), roleIds_(roleIds)
{
}

void DiskAccessChecker::fetchRoles() const noexcept
{
    const auto* const start = reinterpret_cast<const char*>(&operation_);
    __builtin_prefetch(start);
    __builtin_prefetch(start + CACHE_LINE);
}

bool DiskAccessChecker::checkAccess(const ObjectNamespace& object) const
{
    BOOST_ASSERT(accessCache_);
    // The processor does not run ahead of the lock's barrier. So the question's and the caller's memory is
    // prefetched here.
    const char* const text = object.str().data();
    __builtin_prefetch(text);
    __builtin_prefetch(text + CACHE_LINE);
    fetchRoles();
    detail::CountedCheck counted;
    const bool isAllowed = checkAccess(accessCache_->lock(), object);
    counted.answered(isAllowed);
    return isAllowed;
}

bool DiskAccessChecker::checkAccess(const AccessCache::Reader& reader, const ObjectNamespace& object) const
{
    // The roles are needed only after the walk down the name, so they are prefetched now.
    fetchRoles();
    const CacheWalk walk(reader);
    Ancestors ancestors(walk, roleIds_, operation_);
    const ManagedObject* named = nullptr;
    walk.visitPath(object.str(), [&](const ManagedObject& met, bool isNamed) {
        if (isNamed) {
            __builtin_prefetch(&met);
            named = &met;
        } else {
            ancestors.add(met);
        }
    });
    // The named object's record is still being fetched; the ancestors' grants are checked meanwhile.
    RoleAnswer answer = ancestors.childGranted();
    if (named != nullptr) {
        const RoleAnswer own = walk.anyRoleHolds(named->ownBits, roleIds_, operation_);
        if (own.kind != RoleAnswer::DENIED || named->inherit == 0) {
            answer = own;
        }
    }
    walk.requireWhole();
    return walk.isGranted(answer);
}

} // namespace Tessara::Keepsafe::Rbac
