// What it costs to publish one change of an access cache that is kept up to date object by object, beside the
// same writes and waits for the disk made by bare system calls on copies of the files. `livecache_bench
// --help` lists the options.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <malloc.h>

#include <CLI/CLI.hpp>

#include "Measure.h"
#include "cachewriter/CacheLocation.h"
#include "cachewriter/LiveCache.h"
#include "generate/GeneratedCache.h"
#include "livecache/MeasuredFileSystem.h"
#include "support/TempDir.h"

namespace keepsafe_bench {
namespace {

using keepsafe_sandbox::CacheLocation;
using keepsafe_sandbox::CacheObject;
using keepsafe_sandbox::GeneratedCache;
using keepsafe_sandbox::LiveCache;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

constexpr std::uint64_t SEED = 1;
constexpr double MILLISECOND = 1e6;

/// Memory that is allocated now.
std::size_t allocatedBytes()
{
    const auto figures = ::mallinfo2();
    return figures.uordblks + figures.hblkhd;
}

/// A cache in a private folder, published once.
class Published {
public:
    using Fill = std::function<void(LiveCache&)>;

    Published(const char* title, const Fill& fill)
    {
        const std::size_t before = allocatedBytes();
        const double filling = nanosecondsOf([&] { fill(cache_); });
        const std::size_t memory = allocatedBytes() - before;
        const double publishing = nanosecondsOf([this] { publish(); });
        std::printf(
            "\n%s: %zu objects; put in %.2f s, %zu MiB of memory; first published, whole, in %.2f s\n", title,
            cache_.objectCount(), filling / 1e9, memory >> 20U, publishing / 1e9);
        std::printf("  %-30s %9s %9s %9s %9s %9s %7s %6s\n", "one change, in ms", "median", "slowest",
                    "own work", "floor", "slowest", "writes", "syncs");
        copy_ = std::make_unique<BareFiles>(location_.accessCache(), folder_.path("copy"));
    }

    /// `change` is given the number of the round. Own work is all but the waits for the disk.
    void measure(const char* what, int rounds, const std::function<void(LiveCache&, int)>& change)
    {
        std::vector<double> total;
        std::vector<double> own;
        std::vector<double> floor;
        std::vector<double> writes;
        std::vector<double> syncs;
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
            const auto& steps = fileSystem_.steps();
            const auto waits =
                std::count_if(steps.begin(), steps.end(), [](const Step& step) { return step.isSync; });
            total.push_back(taken / MILLISECOND);
            own.push_back((taken - fileSystem_.waitedNanoseconds()) / MILLISECOND);
            floor.push_back(bare / MILLISECOND);
            writes.push_back(static_cast<double>(steps.size()) - static_cast<double>(waits));
            syncs.push_back(static_cast<double>(waits));
        }
        std::printf("  %-30s %9.2f %9.2f %9.3f %9.2f %9.2f %7.0f %6.0f\n", what, median(total),
                    *std::max_element(total.begin(), total.end()), median(own), median(floor),
                    *std::max_element(floor.begin(), floor.end()), median(writes), median(syncs));
        static_cast<void>(std::fflush(stdout));
    }

private:
    void publish() { cache_.publish(GeneratedCache::operations()); }

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

void measureGenerated(std::uint64_t leaves, int rounds)
{
    Published published("Generated cache", [leaves](LiveCache& cache) { fillGenerated(cache, leaves); });
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

void measureSiblings(std::uint64_t siblings, int rounds)
{
    const auto nameOf = [](std::uint64_t number) {
        return GeneratedCache::rootNamespace() | siblingName(number);
    };
    Published published("Siblings, put in ascending order", [&](LiveCache& cache) {
        for (std::uint64_t sibling = 0; sibling < siblings; ++sibling) {
            CacheObject object;
            object.ns = nameOf(2 * sibling);
            cache.put(object);
        }
    });
    published.measure("a sibling added or removed", rounds,
                      [&](LiveCache& cache, int round) { putOrRemove(cache, nameOf(siblings | 1U), round); });
}

} // namespace
} // namespace keepsafe_bench

int main(int argc, char** argv)
{
    CLI::App app("Measures the publishing of single changes.\nExample: livecache_bench --objects 100000");
    std::uint64_t objects = 100000;
    int rounds = 101;
    app.add_option("--objects", objects, "Leaves of the generated cache, and siblings on one level")
        ->check(CLI::Range(1000, 5000000));
    app.add_option("--rounds", rounds, "Changes of each kind; the median counts")
        ->check(CLI::Range(1, 10000));
    CLI11_PARSE(app, argc, argv);
    try {
        std::printf(
            "%llu leaves and siblings, seed %llu, %d changes of each kind, each followed by its floor\n",
            static_cast<unsigned long long>(objects), static_cast<unsigned long long>(keepsafe_bench::SEED),
            rounds);
        keepsafe_bench::measureGenerated(objects, rounds);
        keepsafe_bench::measureSiblings(objects, rounds);
        return 0;
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "livecache_bench: %s\n", error.what()));
        return 1;
    }
}
