#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/questions/cache_state.h>

#include "cli/cache_location.h"
#include "cli/options.h"
#include "commands/commands.h"
#include "commands/share_text.h"
#include "log/SilencedLog.h"
#include "output/Json.h"
#include "output/TextTable.h"
#include "output/escape.h"
#include "output/utc_time.h"
#include "verify/cache_report.h"

namespace ksrbac {

namespace {

constexpr char DESCRIPTION[] =
    R"(Show what an access cache holds.

Shows its namespace, counts, file sizes and depths, and the fragmentation: the
share of records that nothing refers to, left over from earlier writes or set
aside for later ones.

The generation counts the completed writes; a header that is not that of this
product's writers has none. The age is how long ago the cache was last written.
Two equal stamps mean that nothing was published in between.

Holds the cache's shared file lock while it walks the whole cache: readers are
not kept waiting, a writer is.

Exit status: 0 shown, damaged or not, 2 usage error or a cache that cannot be
read, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac cache info main)";

using Align = TextTable::Align;

/// What the header tells; nothing where it cannot be read, which is among the faults.
using State = std::optional<Tessara::Keepsafe::Rbac::CacheState>;

State readState(const std::string& directory)
{
    const SilencedLog silenced;
    try {
        return Tessara::Keepsafe::Rbac::cacheState(directory);
    } catch (const EC_exception&) {
        return std::nullopt;
    }
}

long long milliseconds(std::chrono::nanoseconds duration)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

void addState(const Tessara::Keepsafe::Rbac::CacheState& state, TextTable& table)
{
    const long long changed = milliseconds(state.lastChange.time_since_epoch());
    table.addRow({"generation", state.generation ? std::to_string(*state.generation) : "unknown"});
    table.addRow(
        {"last change", utcTime(changed) + ", " + timeFrom(changed + milliseconds(state.age), changed)});
    table.addRow({"stamp", state.stamp});
}

std::string summaryText(const CacheReport& report, const State& state, const FaultList& faults)
{
    TextTable table({Align::Left, Align::Left});
    table.addRow({"cache", escapeForMessage(report.directory, report.directory.size())});
    table.addRow({"namespace", report.namespaceText.value_or("unknown: the manifest is damaged")});
    table.addRow(
        {"write in progress", report.writeInProgress ? "yes: the last write was interrupted" : "no"});
    if (state) {
        addState(*state, table);
    }
    if (report.isWalked) {
        table.addRow({"objects", std::to_string(report.objects.used)});
        table.addRow({"segments", std::to_string(report.segments.used)});
        table.addRow({"role tree nodes", std::to_string(report.roleTreeNodes)});
        table.addRow({"word tree nodes", std::to_string(report.wordTreeNodes)});
        table.addRow({"longest name", std::to_string(report.trieDepth) + " segments"});
        table.addRow({"deepest search tree", std::to_string(report.deepestTree) + " nodes"});
        table.addRow({"fragmentation", shareText(report.fragmentation())});
    }
    const std::string count = std::to_string(faults.count());
    table.addRow({"faults", faults.count() == 0 ? "none" : count + "; 'ksrbac cache verify' lists them"});
    return table.text();
}

std::string filesText(const CacheReport& report)
{
    TextTable table({Align::Left, Align::Right, Align::Right, Align::Right, Align::Right});
    table.addRow({"FILE", "BYTES", "RECORDS", "IN USE", "UNREACHABLE"});
    table.addRow({"metadata", std::to_string(report.metadataBytes)});
    for (const RecordFileReport* file : report.recordFiles()) {
        table.addRow({file->name, std::to_string(file->bytes), std::to_string(file->records),
                      std::to_string(file->used), std::to_string(file->unreachable())});
    }
    return table.text();
}

JsonObject fileJson(const RecordFileReport& file)
{
    return JsonObject()
        .add("bytes", file.bytes)
        .add("records", std::uint64_t{file.records})
        .add("inUse", std::uint64_t{file.used})
        .add("unreachable", std::uint64_t{file.unreachable()});
}

void addState(const Tessara::Keepsafe::Rbac::CacheState& state, JsonObject& object)
{
    object.addJson("generation", state.generation ? std::to_string(*state.generation) : "null");
    object.addJson("accessDefinitions",
                   state.accessDefinitions ? std::to_string(*state.accessDefinitions) : "null");
    object.add("lastChange", utcTime(milliseconds(state.lastChange.time_since_epoch())));
    object.add("ageSeconds", std::chrono::duration<double>(state.age).count());
    object.add("stamp", state.stamp);
}

std::string json(const CacheReport& report, const State& state, const FaultList& faults)
{
    JsonObject object;
    object.add("cache", report.directory);
    object.addJson("namespace", report.namespaceText ? jsonString(*report.namespaceText) : "null");
    object.add("writeInProgress", report.writeInProgress);
    if (state) {
        addState(*state, object);
    }
    if (report.isWalked) {
        object.add("objects", std::uint64_t{report.objects.used})
            .add("segments", std::uint64_t{report.segments.used})
            .add("roleTreeNodes", std::uint64_t{report.roleTreeNodes})
            .add("wordTreeNodes", std::uint64_t{report.wordTreeNodes})
            .add("longestNameSegments", std::uint64_t{report.trieDepth})
            .add("deepestSearchTree", std::uint64_t{report.deepestTree})
            .add("fragmentation", report.fragmentation());
        JsonObject files;
        files.add("metadata", JsonObject().add("bytes", report.metadataBytes));
        for (const RecordFileReport* file : report.recordFiles()) {
            files.add(file->name, fileJson(*file));
        }
        object.add("files", files);
    }
    return object.add("faultCount", std::uint64_t{faults.count()}).text() + '\n';
}

ExitStatus run(const std::string& cache, bool asJson, Console& console)
{
    FaultList faults(0);
    const CacheReport report = examineCache(locateCache(cache).directory, faults);
    const State state = readState(report.directory);
    if (asJson) {
        console.print(json(report, state, faults));
        return ExitStatus::Good;
    }
    console.print(summaryText(report, state, faults));
    if (report.isWalked) {
        console.print('\n' + filesText(report));
    }
    return ExitStatus::Good;
}

} // namespace

Action addCacheInfo(CLI::App& command)
{
    const auto cache = std::make_shared<std::string>();
    describe(command, DESCRIPTION, EXAMPLE);
    addCache(command, *cache);
    return {[cache](bool json, Console& console) { return run(*cache, json, console); }};
}

} // namespace ksrbac
