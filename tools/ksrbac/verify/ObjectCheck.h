#ifndef KSRBAC_VERIFY_OBJECTCHECK_H
#define KSRBAC_VERIFY_OBJECTCHECK_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include <keepsafe/cache/detail/ReadOnlyBlockAllocator.h>
#include <keepsafe/cache/detail/records.h>

#include "verify/BitsWalks.h"
#include "verify/Reference.h"
#include "verify/SparseArray.h"
#include "verify/Whereabouts.h"

namespace ksrbac {

/// Examines managed objects, each once, and the role trees that they refer to.
class ObjectCheck final : public Whereabouts {
public:
    using View = Tessara::Keepsafe::Rbac::detail::RecordView<Tessara::Keepsafe::Rbac::ManagedObject>;

    /// `onObject`, which may be null, is called for each object that is reached, with the number of records.
    ObjectCheck(const View& records, const char* file, RoleWalk& roles,
                std::function<void(std::size_t records)> onObject);

    /// What references to objects are resolved against.
    [[nodiscard]] const TargetFile& target() const noexcept { return target_; }
    /// `name` tells which name the object was reached by.
    void examine(std::uint32_t index, const Whereabouts& name);

    [[nodiscard]] std::size_t reachedCount() const noexcept { return reachedCount_; }
    [[nodiscard]] std::string reached() const override;

private:
    View records_;
    TargetFile target_;
    RoleWalk& roles_;
    std::function<void(std::size_t records)> onObject_;
    SparseArray<bool> isReached_;
    std::size_t reachedCount_ = 0;
    const char* field_ = ""; ///< the one whose role tree is walked
    const Whereabouts* name_ = nullptr;
};

} // namespace ksrbac

#endif
