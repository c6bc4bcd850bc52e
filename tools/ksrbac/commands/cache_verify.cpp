#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "cli/cache_location.h"
#include "cli/options.h"
#include "commands/commands.h"
#include "commands/share_text.h"
#include "io/Progress.h"
#include "output/Json.h"
#include "output/escape.h"
#include "verify/cache_report.h"

namespace ksrbac {

namespace {

constexpr char DESCRIPTION[] =
    R"(Look for damage in an access cache.

Checks every offset, the order of every search tree, cycles, the
write-in-progress flag and the manifest. Prints each fault with its file, the
byte in the file and how the record was reached.

Records that nothing refers to are legal and counted. An offset into a record
refers to that record and is legal. Readers ignore bytes after the last whole
record of a file; a note mentions them, but they are not a fault.

Holds the cache's shared file lock while it walks the whole cache, about a
second for a million objects, so that no writer changes the files under it:
readers do not have to wait, a writer does.

Exit status: 0 no fault, 1 faults, 2 usage error or a cache that cannot be read,
4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac cache verify main && echo sound)";

struct Options {
    std::string cache;
    std::size_t maxFaults = 100;
};

std::string faultLine(const Fault& fault)
{
    std::string line = fault.file + ", byte " + std::to_string(fault.offset) + ": " + fault.what;
    if (!fault.reached.empty()) {
        line += " (at " + fault.reached + ')';
    }
    return line + '\n';
}

std::string faultCount(std::size_t count)
{
    return count == 0 ? "no faults" : std::to_string(count) + (count == 1 ? " fault" : " faults");
}

void printText(const CacheReport& report, const FaultList& faults, Console& console)
{
    for (const Fault& fault : faults.kept()) {
        console.print(faultLine(fault));
    }
    if (faults.count() > faults.kept().size()) {
        console.print("... and " + std::to_string(faults.count() - faults.kept().size()) + " more\n");
    }
    for (const RecordFileReport* file : report.recordFiles()) {
        if (file->partialBytes != 0) {
            console.print("note: " + file->name + " ends with " + std::to_string(file->partialBytes) +
                          " bytes of an incomplete record, which readers ignore\n");
        }
    }
    if (report.isWalked) {
        std::string line = "unreachable records:";
        for (const RecordFileReport* file : report.recordFiles()) {
            line += (file == &report.objects ? " " : ", ") + std::to_string(file->unreachable()) + " of " +
                    std::to_string(file->unreachable() + file->used) + ' ' + file->name;
        }
        console.print(line + " (" + shareText(report.fragmentation()) + ")\n");
    } else {
        console.print("the trees were not examined\n");
    }
    console.print(
        escapeForMessage(report.directory, report.directory.size()) + ": " +
        console.paint(faultCount(faults.count()), faults.count() == 0 ? Colour::Good : Colour::Bad) + '\n');
}

void printJson(const CacheReport& report, const FaultList& faults, Console& console)
{
    JsonArray kept;
    for (const Fault& fault : faults.kept()) {
        kept.addJson(JsonObject()
                         .add("file", fault.file)
                         .add("byte", fault.offset)
                         .add("what", fault.what)
                         .add("reached", fault.reached)
                         .text());
    }
    JsonObject unreachable;
    JsonObject ignored;
    for (const RecordFileReport* file : report.recordFiles()) {
        if (report.isWalked) {
            unreachable.add(file->name, std::uint64_t{file->unreachable()});
            ignored.add(file->name, std::uint64_t{file->partialBytes});
        }
    }
    console.print(JsonObject()
                      .add("cache", report.directory)
                      .add("faultCount", std::uint64_t{faults.count()})
                      .addJson("faults", kept.text())
                      .add("treesExamined", report.isWalked)
                      .add("unreachableRecords", unreachable)
                      .add("ignoredBytes", ignored)
                      .text() +
                  '\n');
}

CacheReport examine(const std::string& directory, FaultList& faults, Console& console)
{
    Progress progress(console, "verified", "objects");
    if (!progress.isWatched()) {
        return examineCache(directory, faults);
    }
    return examineCache(directory, faults, [&progress](std::size_t records) {
        progress.setTotal(records - 1); // the first one is reserved
        progress.add();
    });
}

ExitStatus run(const Options& options, bool json, Console& console)
{
    FaultList faults(options.maxFaults);
    const CacheReport report = examine(locateCache(options.cache).directory, faults, console);
    (json ? printJson : printText)(report, faults, console);
    return faults.count() == 0 ? ExitStatus::Good : ExitStatus::Negative;
}

} // namespace

Action addCacheVerify(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addOptional(command, "--max-faults", options->maxFaults, "N",
                "Print at most N faults (100); all are counted");
    addCache(command, options->cache);
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
