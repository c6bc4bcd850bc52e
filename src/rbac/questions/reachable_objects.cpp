#include <keepsafe/rbac/questions/reachable_objects.h>

#include <algorithm>
#include <limits>

#include <keepsafe/platform/status/status_codes.h>

#include "NameOrderWalk.h"
#include "RememberedAnswers.h"
#include "WholeWalk.h"
#include "all_permissions.h"
#include "disk_client.h"
#include "fail.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char REACH_TAG[] = "ReachableObjects";

/// Records of a piece: some hundred microseconds, of the millisecond that a writer may have to wait.
constexpr std::size_t STEPS_OF_A_WALK = 16384;
/// A name costs as much as that many records.
constexpr std::size_t STEPS_OF_A_NAME = 4;

/// Carries down whether what is granted above reaches the objects of a level. An object's own trees come
/// first, as in a check: what is damaged there is status 12 for both, whatever is granted above.
class Reaching {
public:
    using State = bool;

    Reaching(const detail::CacheWalk& walk, bool everything, const detail::RoleIds& roleIds,
             const Operation& operation)
        : walk_(walk), everything_(everything), answers_(walk, roleIds, operation)
    {
    }

    [[nodiscard]] bool top() const noexcept { return everything_; }

    [[nodiscard]] bool below(const detail::SegmentNode& node, bool endsComponent, bool above)
    {
        if (everything_ || !endsComponent || node.object == 0) {
            return above;
        }
        const ManagedObject& object = walk_.managedObject(node.object);
        return answers_.isGranted(object.childBits) || (object.inherit != 0 && above);
    }

    [[nodiscard]] bool isAllowed(const detail::SegmentNode& node, bool above)
    {
        if (everything_) {
            return true;
        }
        const ManagedObject& object = walk_.managedObject(node.object);
        return answers_.isGranted(object.ownBits) || (object.inherit != 0 && above);
    }

    [[nodiscard]] std::size_t steps() const noexcept { return answers_.steps(); }

private:
    const detail::CacheWalk& walk_;
    const bool everything_;
    detail::RememberedAnswers answers_;
};

void requirePlace(const std::string& after)
{
    detail::CanonicalText canonical;
    const bool isBeginning = std::all_of(after.begin(), after.end(), [&canonical](char byte) {
        return canonical.add(static_cast<unsigned char>(byte));
    });
    if (!isBeginning || (!after.empty() && after.front() != '|')) {
        diagnostics::fail(Status::INVALID_ARGUMENT, REACH_TAG,
                          "no name begins like the place to continue after");
    }
}

} // namespace

/// Where a piece ends at the latest.
struct ReachableObjects::Limits {
    std::size_t names;
    std::size_t steps;
};

struct ReachableObjects::Piece {
    std::uint64_t count = 0;
    std::string cursor; ///< empty: the walk has come to its end
    std::size_t steps = 0;
    std::size_t records = 0; ///< of the trie
};

ReachableObjects::ReachableObjects(AccessControlClient& client, const std::set<int>& roleIds,
                                   const ObjectNamespace& operation)
    : reach_(Reach::Nothing), roleIds_(roleIds)
{
    DiskAccessControlClient* const disk = diskClient(client);
    if (disk == nullptr) {
        return;
    }
    accessCache_ = disk->accessCache();
    const boost::optional<Operation> known = disk->operationCache()[operation];
    if (known) {
        operation_ = *known;
        reach_ = detail::hasAllPermissions(roleIds) ? Reach::Everything
                 : roleIds.empty()                  ? Reach::Nothing
                                                    : Reach::WhatIsGranted;
    }
}

ReachableObjects::Piece ReachableObjects::walk(const std::string& under, const std::string& after,
                                               const Limits& limits, std::vector<std::string>* names) const
{
    Piece piece;
    const AccessCache::Reader reader = accessCache_->lock();
    const detail::CacheWalk walk(reader);
    Reaching reaching(walk, reach_ == Reach::Everything, roleIds_, operation_);
    detail::NameOrderWalk<Reaching> inOrder(walk, reaching);
    inOrder.start(under, after);
    while (inOrder.next()) {
        if (inOrder.endsComponent() && inOrder.node().object != 0 &&
            reaching.isAllowed(inOrder.node(), inOrder.state())) {
            ++piece.count;
            if (names != nullptr) {
                names->push_back(inOrder.text());
            }
        }
        const std::size_t steps =
            inOrder.steps() + reaching.steps() + (names != nullptr ? piece.count * STEPS_OF_A_NAME : 0);
        if (piece.count == limits.names || steps >= limits.steps) {
            piece.cursor = inOrder.text();
            break;
        }
    }
    walk.requireWhole();
    piece.steps = inOrder.steps();
    piece.records = walk.segments().count();
    return piece;
}

ReachablePage ReachableObjects::page(const ObjectNamespace& under, const std::string& after,
                                     std::size_t limit) const
{
    requirePlace(after);
    if (limit == 0) {
        diagnostics::fail(Status::INVALID_ARGUMENT, REACH_TAG, "a page of no names does not lead anywhere");
    }
    ReachablePage page;
    if (reach_ == Reach::Nothing) {
        return page;
    }
    const std::size_t names = std::min(limit, MOST_NAMES_OF_A_PAGE);
    page.names.reserve(std::min<std::size_t>(names, 1024));
    page.cursor = walk(under.str(), after, {names, STEPS_OF_A_WALK}, &page.names).cursor;
    return page;
}

void ReachableObjects::forEach(const ObjectNamespace& under, const std::string& after,
                               const Visit& visit) const
{
    requirePlace(after);
    if (reach_ == Reach::Nothing) {
        return;
    }
    std::string place = after;
    std::vector<std::string> names;
    WholeWalk whole;
    do {
        names.clear();
        const Piece piece = walk(under.str(), place, {MOST_NAMES_OF_A_PAGE, STEPS_OF_A_WALK}, &names);
        whole.add(piece.steps, piece.records);
        for (const std::string& name : names) {
            if (!visit(name)) {
                return;
            }
        }
        place = piece.cursor;
    } while (!place.empty());
}

std::uint64_t ReachableObjects::count(const ObjectNamespace& under, const std::string& after,
                                      WalkLocking locking) const
{
    requirePlace(after);
    if (reach_ == Reach::Nothing) {
        return 0;
    }
    constexpr std::size_t NO_LIMIT = std::numeric_limits<std::size_t>::max();
    const Limits limits{NO_LIMIT, locking == WalkLocking::OneState ? NO_LIMIT : STEPS_OF_A_WALK};
    std::uint64_t count = 0;
    std::string place = after;
    WholeWalk whole;
    do {
        const Piece piece = walk(under.str(), place, limits, nullptr);
        whole.add(piece.steps, piece.records);
        count += piece.count;
        place = piece.cursor;
    } while (!place.empty());
    return count;
}

} // namespace Tessara::Keepsafe::Rbac
