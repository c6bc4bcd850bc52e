// Opening a cache, and how much of its files is then in the process's resident memory.

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <string>

#include "generate/GeneratedCache.h"
#include "questions/PublishedCache.h"
#include "workloads.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;

namespace {

/// Bytes of the cache's files in this process's resident memory, from the kernel's list of its mappings.
double residentOf(const std::string& directory)
{
    std::ifstream maps("/proc/self/smaps");
    std::size_t kibibytes = 0;
    bool counted = false;
    for (std::string line; std::getline(maps, line);) {
        if (line.find(':') == std::string::npos || line.find('-') < line.find(' ')) {
            counted = line.find(directory) != std::string::npos;
        } else if (counted && line.compare(0, 4, "Rss:") == 0) {
            kibibytes += std::strtoul(line.c_str() + 4, nullptr, 10);
        }
    }
    return static_cast<double>(kibibytes) * 1024;
}

void measureResident(const PublishedCache& published, std::uint64_t leaves, const std::string& at,
                     const Settings& settings, Report& report)
{
    constexpr std::size_t LOOKUPS = 100;
    const std::string directory = published.location().accessCache();
    const Questions questions(published.cache(), {LOOKUPS, settings.roles, Callers::Shared},
                              drawLeaf(leaves));
    const double before = residentOf(directory);
    const auto cache = openCache(published.location());
    report.value("  resident after opening" + at, residentOf(directory) - before, "bytes");
    for (const PeerQuestion& question : questions.all()) {
        (void)question.caller->checker->checkAccess(cache->lock(), question.object);
    }
    report.value("  resident after 100 lookups" + at, residentOf(directory) - before, "bytes");
}

} // namespace

void measureOpening(const Settings& settings, Report& report)
{
    constexpr std::size_t TIMES = 200;
    for (const std::uint64_t leaves : settings.objects) {
        const PublishedCache published(GeneratedCache(leaves, SEED).build());
        const std::string at = " at " + std::to_string(leaves);
        measureResident(published, leaves, at, settings, report);
        Turns turns(settings.rounds);
        const auto open = turns.add(TIMES, times(TIMES, [&published] { openCache(published.location()); }));
        turns.run();
        report.line("opening/manifest and maps" + at, turns.figures(open));
    }
}

} // namespace keepsafe_bench
