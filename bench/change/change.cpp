// Publishing one change of an access cache that is updated object by object, beside the same writes and waits
// for the disk by bare system calls on copies of the files.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cachewriter/CacheLocation.h"
#include "cachewriter/LiveCache.h"
#include "change/MeasuredFileSystem.h"
#include "generate/GeneratedCache.h"
#include "support/TempDir.h"
#include "workloads.h"

namespace keepsafe_bench {
namespace {

using keepsafe_sandbox::GeneratedCache;
using keepsafe_service::CacheLocation;
using keepsafe_service::CacheObject;
using keepsafe_service::LiveCache;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

/// A cache in a private folder, published once.
class Published {
public:
    using Fill = std::function<void(LiveCache&)>;

    Published(const std::string& name, const Fill& fill, Report& report) : report_(report)
    {
        const double filling = nanosecondsOf([&] { fill(cache_); });
        const double publishing = nanosecondsOf([this] { publish(); });
        report_.value("  filling the cache, " + name, filling / 1e9, "s");
        report_.value("  publishing it whole, " + name, publishing / 1e9, "s");
        copy_ = std::make_unique<BareFiles>(location_.accessCache(), folder_.path("copy"));
    }

    /// `change` is given the number of the round. Own work is everything except the waits for the disk.
    void measure(const std::string& what, int rounds, const std::function<void(LiveCache&, int)>& change)
    {
        std::vector<double> total;
        std::vector<double> own;
        std::vector<double> floor;
        for (int round = -2; round < rounds; ++round) {
            fileSystem_.startNotes();
            const double taken = nanosecondsOf([&] {
                change(cache_, round);
                publish();
            });
            const double bare = nanosecondsOf([&] { copy_->replay(fileSystem_.steps()); });
            if (round < 0) {
                continue; // warm up
            }
            total.push_back(taken);
            own.push_back(taken - fileSystem_.waitedNanoseconds());
            floor.push_back(bare);
        }
        report_.line("change/" + what, figuresOf(total), figuresOf(floor));
        report_.line("change/" + what + ", own work", figuresOf(own));
    }

private:
    void publish() { cache_.publish(GeneratedCache::operations()); }

    Report& report_;
    keepsafe_test::TempDir folder_;
    MeasuredFileSystem fileSystem_;
    CacheLocation location_{folder_.path(), "bench"};
    LiveCache cache_{fileSystem_, location_, GeneratedCache::rootNamespace()};
    std::unique_ptr<BareFiles> copy_;
};

void fillGenerated(LiveCache& cache, std::uint64_t leaves)
{
    const GeneratedCache generated(leaves, SEED);
    for (unsigned area = 0; area < GeneratedCache::AREAS; ++area) {
        cache.put(generated.area(area));
        for (unsigned kind = 0; kind < GeneratedCache::KINDS; ++kind) {
            cache.put(generated.kind(area, kind));
        }
    }
    for (std::uint64_t leaf = 0; leaf < leaves; ++leaf) {
        cache.put(generated.leaf(leaf));
    }
}

/// A leaf in the middle with another leaf's grants in every second round.
CacheObject changedLeaf(std::uint64_t leaves, int round)
{
    const GeneratedCache generated(leaves, SEED);
    CacheObject object = generated.leaf(leaves / 2);
    object.own = {};
    object.own.add(GeneratedCache::FIRST_ROLE + round % 100, GeneratedCache::operationBit(1));
    object.own.add(GeneratedCache::FIRST_ROLE + 150, GeneratedCache::operationBit(2 + (round & 1)));
    return object;
}

void putOrRemove(LiveCache& cache, const ObjectNamespace& ns, int round)
{
    if (round % 2 == 0) {
        CacheObject object;
        object.ns = ns;
        object.own.add(GeneratedCache::FIRST_ROLE, GeneratedCache::operationBit(1));
        cache.put(object);
    } else {
        cache.remove(ns);
    }
}

ObjectNamespace deepNamespace()
{
    ObjectNamespace ns = GeneratedCache::leafNamespace(0);
    for (int depth = 0; depth < 100; ++depth) {
        ns = ns | ("component-" + std::to_string(1000 + depth));
    }
    return ns;
}

void measureGenerated(std::uint64_t leaves, int rounds, Report& report)
{
    Published published(
        "generated", [leaves](LiveCache& cache) { fillGenerated(cache, leaves); }, report);
    published.measure("other grants for an object", rounds,
                      [leaves](LiveCache& cache, int round) { cache.put(changedLeaf(leaves, round)); });
    published.measure("an object added or removed", rounds, [leaves](LiveCache& cache, int round) {
        putOrRemove(cache, GeneratedCache::leafNamespace(leaves + 77), round);
    });
    const ObjectNamespace deep = deepNamespace();
    published.measure("one 100 components deeper", rounds,
                      [&deep](LiveCache& cache, int round) { putOrRemove(cache, deep, round); });
}

/// A name of four letters is one segment: all of them are on one level of the trie.
std::string siblingName(std::uint64_t number)
{
    static const std::string letters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    std::string name;
    for (int letter = 0; letter < 4; ++letter) {
        name.insert(name.begin(), letters[number % letters.size()]);
        number /= letters.size();
    }
    return name;
}

void measureSiblings(std::uint64_t siblings, int rounds, Report& report)
{
    const auto nameOf = [](std::uint64_t number) {
        return GeneratedCache::rootNamespace() | siblingName(number);
    };
    const auto fill = [&](LiveCache& cache) {
        for (std::uint64_t sibling = 0; sibling < siblings; ++sibling) {
            CacheObject object;
            object.ns = nameOf(2 * sibling);
            cache.put(object);
        }
    };
    Published published("siblings in ascending order", fill, report);
    published.measure("a sibling added or removed", rounds,
                      [&](LiveCache& cache, int round) { putOrRemove(cache, nameOf(siblings | 1U), round); });
}

} // namespace

void measureChanges(const Settings& settings, Report& report)
{
    const int changes = settings.rounds * 11;
    measureGenerated(settings.baseObjects, changes, report);
    measureSiblings(settings.baseObjects, changes, report);
}

} // namespace keepsafe_bench
