#ifndef KEEPSAFE_RBAC_QUESTIONS_POLICY_CONTENTS_H
#define KEEPSAFE_RBAC_QUESTIONS_POLICY_CONTENTS_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/questions/reachable_objects.h>

namespace Tessara::Keepsafe::Rbac {

/// Up to 32 operations that a role holds: bit n stands for the operation number 32 * `wordIndex` + n.
struct RoleWord {
    std::int32_t roleId;
    std::int32_t wordIndex;
    std::uint32_t bits; ///< not 0

    /// The number of the operation that the bit stands for.
    [[nodiscard]] Operation operation(unsigned bit) const noexcept
    {
        return {static_cast<std::int32_t>(static_cast<std::uint32_t>(wordIndex) * 32U + bit)};
    }
    friend bool operator==(const RoleWord& left, const RoleWord& right) noexcept
    {
        return left.roleId == right.roleId && left.wordIndex == right.wordIndex && left.bits == right.bits;
    }
};

/// Which operations which roles hold: by role, then by word, ascending, no pair of both twice.
using RoleWords = std::vector<RoleWord>;

/// An object of a policy with what is granted on it.
struct GrantedObject {
    std::string name; ///< text form
    bool inherits = true;
    RoleWords onObject;
    RoleWords onChildren; ///< on everything below it
};

/// The objects of a policy one after the other, in the order of the bytes of their names: those of a cache,
/// of a document, or of both together. Implement it to compare a policy of your own. One thread at a time.
class KEEPSAFE_API PolicySource {
public:
    PolicySource() = default;
    PolicySource(const PolicySource&) = delete;
    PolicySource& operator=(const PolicySource&) = delete;
    virtual ~PolicySource();

    /// The next object. False at the end; `object` is then unspecified. Each name comes after the one before.
    [[nodiscard]] virtual bool next(GrantedObject& object) = 0;
};

/// The objects of a client's cache. In pieces, each of which is one state of the policy, and the lock is not
/// held in between; or as one state, and the lock is held from the first object to the end of the source, by
/// the thread that takes the objects and ends the source. What the library would log for that thread
/// meanwhile, about whatever cache, it logs when the lock has been released.
///
/// Words beyond those of any operation are left out, and so are names that nobody can ask for. `next` throws
/// what `ReachableObjects` throws.
class KEEPSAFE_API CachePolicySource final : public PolicySource {
public:
    /// Throws `EC_exception` 20 for every client but the disk client: without a cache there are no objects.
    explicit CachePolicySource(AccessControlClient& client, WalkLocking locking = WalkLocking::InPieces);
    ~CachePolicySource() override;

    [[nodiscard]] bool next(GrantedObject& object) override;

private:
    class State;
    std::unique_ptr<State> state_;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
