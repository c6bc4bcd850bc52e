// What a caller can reach: pages and counts over a whole cache.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/questions/reachable_objects.h>

#include "generate/GeneratedCache.h"
#include "questions/PublishedCache.h"
#include "workloads.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;
using keepsafe_sandbox::RandomNumbers;
using Tessara::Keepsafe::Rbac::DiskAccessControlClient;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationCache;
using Tessara::Keepsafe::Rbac::ReachableObjects;
using Tessara::Keepsafe::Rbac::WalkLocking;

namespace {

constexpr std::size_t PAGE = 1000;
constexpr std::size_t PLACES = 200;

/// Callers who reach everything, about a third of the objects, and about one in a hundred.
struct Kind {
    const char* name;
    std::set<int> roles;
};

std::vector<Kind> kindsOfCallers()
{
    std::set<int> many;
    for (int role = GeneratedCache::FIRST_ROLE; role < GeneratedCache::FIRST_ROLE + 40; ++role) {
        many.insert(role);
    }
    return {{"role 0", {0}}, {"40 roles", many}, {"1 role", {GeneratedCache::FIRST_ROLE + 7}}};
}

/// Nanoseconds of a page from some places anywhere in the cache; `longest` becomes that of the slowest.
double pagesFrom(const ReachableObjects& reachable, const std::vector<std::string>& places, double& longest)
{
    double sum = 0;
    for (const std::string& place : places) {
        const double time =
            nanosecondsOf([&] { (void)reachable.page(ObjectNamespace(), place, PAGE).names.size(); });
        longest = std::max(longest, time);
        sum += time;
    }
    return sum / static_cast<double>(places.size());
}

void measureCaller(const ReachableObjects& reachable, const std::vector<std::string>& places,
                   const std::string& at, const Settings& settings, Report& report)
{
    const ObjectNamespace root;
    const std::uint64_t count = reachable.count(root, "");
    require(count == reachable.count(root, "", WalkLocking::OneState), "both counts are equal");
    double longest = 0;
    Turns turns(settings.rounds);
    const auto page = turns.add([&] { return pagesFrom(reachable, places, longest); });
    const auto pieces = turns.add(1, [&] { (void)reachable.count(root, ""); });
    const auto whole = turns.add(1, [&] { (void)reachable.count(root, "", WalkLocking::OneState); });
    const auto names =
        turns.add(1, [&] { reachable.forEach(root, "", [](std::string_view /*name*/) { return true; }); });
    turns.run();
    report.value("  objects reached" + at, static_cast<double>(count), "objects");
    report.line("reach/page of 1,000" + at, turns.figures(page));
    report.value("  longest page" + at, longest, "ns");
    report.line("reach/count in pieces" + at, turns.figures(pieces));
    report.line("reach/count as one state" + at, turns.figures(whole));
    report.line("reach/all names" + at, turns.figures(names));
}

} // namespace

void measureReach(const Settings& settings, Report& report)
{
    for (const std::uint64_t leaves : settings.objects) {
        const PublishedCache published(GeneratedCache(leaves, SEED).build());
        Tessara::Keepsafe::Platform::setInstallationRoot(published.root());
        OperationCache operations;
        DiskAccessControlClient client(ObjectNamespace(), published.cache(), operations);
        RandomNumbers random(SEED);
        std::vector<std::string> places{""};
        while (places.size() < PLACES) {
            places.push_back(GeneratedCache::leafNamespace(random.next() % leaves).str());
        }
        for (const Kind& kind : kindsOfCallers()) {
            const ReachableObjects reachable(client, kind.roles, GeneratedCache::operationNamespace(3));
            measureCaller(reachable, places, std::string(", ") + kind.name + " at " + std::to_string(leaves),
                          settings, report);
        }
    }
}

} // namespace keepsafe_bench
