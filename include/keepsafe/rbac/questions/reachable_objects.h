#ifndef KEEPSAFE_RBAC_QUESTIONS_REACHABLE_OBJECTS_H
#define KEEPSAFE_RBAC_QUESTIONS_REACHABLE_OBJECTS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <boost/shared_ptr.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/Operation.h>
#include <keepsafe/cache/detail/RoleIds.h>
#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace Tessara::Keepsafe::Rbac {

/// Some of the objects that a caller can reach, in order.
struct ReachablePage {
    std::vector<std::string> names; ///< text forms
    /// Where the next page begins: the `after` of the next call. Names a place in the order of names, so it
    /// stays valid whatever happens to the policy, in other processes too. Empty on the last page.
    std::string cursor;
    [[nodiscard]] bool isLast() const noexcept { return cursor.empty(); }
};

/// How a long walk holds the lock.
enum class WalkLocking {
    InPieces, ///< the writer gets its turn within about a millisecond; each piece is one state of the policy
    OneState, ///< all of it is one state of the policy; the writer waits until the end
};

/// The objects of the cache on which one caller may perform one operation, in the order of the bytes of their
/// text forms. These are the objects for which a checker of the same caller and operation says yes, among
/// those that the cache holds: everything below an object that grants its children something is allowed as
/// well, but only what is in the cache is listed. Role 0 reaches all objects of the cache.
///
/// Nothing is walked for an unknown operation or a caller without roles, and nothing outside of `under`.
/// Within it every record is visited: the format does not tell what is granted further down.
///
/// Where enforcement is off (the stub client), everything is allowed and nothing is known of what exists:
/// `isEnforced` is false, and nothing is listed.
///
/// Shares the client's cache, and may outlive the client. Immutable; any number of threads, each with its own
/// `ObjectNamespace`s.
///
/// Questions throw what `AccessCache::lock` throws, and `EC_exception` 12 for a damaged cache: an offset
/// outside its file, a tree out of order or without end, a file that is cut short. Names that were returned
/// before are names that a checker allows.
class KEEPSAFE_API ReachableObjects {
public:
    /// No page is longer, whatever limit is asked for.
    static constexpr std::size_t MOST_NAMES_OF_A_PAGE = 4096;

    /// For a caller who holds the given roles. Looks the operation up once. Throws what the operation cache
    /// throws, and `EC_exception` 20 for a client that is neither the disk client nor the stub client.
    ReachableObjects(AccessControlClient& client, const std::set<int>& roleIds,
                     const ObjectNamespace& operation);

    /// False where enforcement is off and everything is allowed.
    [[nodiscard]] bool isEnforced() const noexcept { return accessCache_ != nullptr; }

    /// The first objects after `after` among `under` and everything below it, at most `limit`, from one state
    /// of the policy. `after` is empty, the cursor of a page, or the text form of any name.
    ///
    /// Takes the lock once, for less than a millisecond as a rule: a page ends early after a number of
    /// visited records, even without any name, and its cursor says where. Only a page without a cursor is the
    /// last. A page of 1,000 names takes as long at the end of a million objects as at the beginning.
    ///
    /// Throws `EC_exception` 20 when `limit` is 0 or `after` cannot be the beginning of a name.
    [[nodiscard]] ReachablePage page(const ObjectNamespace& under, const std::string& after,
                                     std::size_t limit) const;

    /// Receives a name, valid during the call; false ends the walk.
    using Visit = std::function<bool(std::string_view name)>;

    /// All pages one after the other, without the lock while `visit` runs. An object that is there, and
    /// allowed, from the beginning to the end is visited once; one that comes, goes or changes meanwhile may
    /// be visited or not. Exceptions of `visit` pass through.
    void forEach(const ObjectNamespace& under, const std::string& after, const Visit& visit) const;

    /// How many objects `forEach` would visit.
    [[nodiscard]] std::uint64_t count(const ObjectNamespace& under, const std::string& after,
                                      WalkLocking locking = WalkLocking::InPieces) const;

private:
    enum class Reach : std::uint8_t { Nothing, Everything, WhatIsGranted };
    struct Piece;
    struct Limits;

    [[nodiscard]] Piece walk(const std::string& under, const std::string& after, const Limits& limits,
                             std::vector<std::string>* names) const;

    boost::shared_ptr<const AccessCache> accessCache_; ///< null: enforcement is off
    Reach reach_;
    Operation operation_;
    detail::RoleIds roleIds_;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
