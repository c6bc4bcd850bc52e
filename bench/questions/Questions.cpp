#include "questions/Questions.h"

#include <algorithm>
#include <set>
#include <utility>

#include "generate/GeneratedCache.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;
using keepsafe_sandbox::RandomNumbers;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

namespace {

constexpr unsigned SHARED_CALLERS = 512;

std::unique_ptr<const PeerCaller> makeCaller(const Questions::Cache& cache, std::vector<std::int32_t> roles,
                                             Operation operation)
{
    auto caller = std::make_unique<PeerCaller>();
    const std::set<int> roleSet(roles.begin(), roles.end());
    caller->roles = std::move(roles);
    caller->operation = operation;
    caller->checker = std::make_unique<const DiskAccessChecker>(cache, roleSet, operation, 0);
    return caller;
}

std::vector<std::int32_t> drawRoles(unsigned count, RandomNumbers& random)
{
    // A caller with more roles than the cache knows has some that grant nothing there.
    const unsigned limit = std::max(GeneratedCache::ROLES, 2 * count);
    std::set<std::int32_t> roles;
    while (roles.size() < count) {
        roles.insert(GeneratedCache::FIRST_ROLE + static_cast<std::int32_t>(random.below(limit)));
    }
    return {roles.begin(), roles.end()};
}

} // namespace

Questions::Questions(const Cache& cache, const Kind& kind, const DrawObject& drawObject)
{
    RandomNumbers random(SEED + kind.roles);
    while (callers_.size() < SHARED_CALLERS) {
        callers_.push_back(
            makeCaller(cache, drawRoles(kind.roles, random),
                       GeneratedCache::operationBit(random.below(GeneratedCache::OPERATIONS))));
    }
    questions_.reserve(kind.count);
    {
        const auto reader = cache->lock();
        while (questions_.size() < kind.count) {
            ObjectNamespace object = drawObject(random);
            object.str();
            const PeerCaller* caller = choose(reader, object, random);
            questions_.push_back({caller, std::move(object)});
        }
    }
    if (kind.callers == Callers::Distinct) {
        makeCallersDistinct(cache);
    }
}

/// Most callers are denied most things, so a caller who is allowed is searched for, up to a limit.
const PeerCaller* Questions::choose(const AccessCache::Reader& reader, const ObjectNamespace& object,
                                    RandomNumbers& random) const
{
    const bool wanted = random.below(2) == 0;
    const PeerCaller* caller = callers_[random.below(SHARED_CALLERS)].get();
    for (unsigned tries = 1; tries < SHARED_CALLERS && caller->checker->checkAccess(reader, object) != wanted;
         ++tries) {
        caller = callers_[random.below(SHARED_CALLERS)].get();
    }
    return caller;
}

void Questions::makeCallersDistinct(const Cache& cache)
{
    std::vector<std::unique_ptr<const PeerCaller>> distinct;
    distinct.reserve(questions_.size());
    for (PeerQuestion& question : questions_) {
        distinct.push_back(makeCaller(cache, question.caller->roles, question.caller->operation));
        question.caller = distinct.back().get();
    }
    callers_ = std::move(distinct);
}

Questions::DrawObject drawLeaf(std::uint64_t leaves)
{
    return [leaves](RandomNumbers& random) {
        const bool exists = random.below(10) != 0;
        return GeneratedCache::leafNamespace((exists ? 0 : leaves) + random.next() % leaves);
    };
}

} // namespace keepsafe_bench
