#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <keepsafe/cache/OperationCache.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "commands/load_operations.h"
#include "output/Listing.h"

namespace ksrbac {

namespace {

constexpr char DESCRIPTION[] =
    R"(List the operations of the operation cache.

Prints each operation of the installation with its permission bit, by bit, from
the file that checks on this host use. 'ksrbac operation list' asks the service
instead, which knows operations that this host has not heard of yet.

Exit status: 0 listed, 2 usage error, 3 the library reported a status or failed,
4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac operations --json)";

using Entry = std::pair<std::int32_t, std::string>;

std::vector<Entry> entriesByBit()
{
    Tessara::Keepsafe::Rbac::OperationCache cache;
    loadOperations(cache);
    std::vector<Entry> entries;
    for (const auto& [operation, bit] : cache.operations()) {
        entries.emplace_back(bit.offset, operation.str());
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

ExitStatus run(bool json, Console& console)
{
    using Align = TextTable::Align;
    const Listing<Entry> listing{
        {{"BIT", Align::Right, [](const Entry& entry) { return std::to_string(entry.first); }},
         {"OPERATION", Align::Left, [](const Entry& entry) { return entry.second; }}},
        [](const Entry& entry) {
            return JsonObject().add("operation", entry.second).add("bit", std::int64_t{entry.first});
        }};
    listing.print(entriesByBit(), json, console);
    return ExitStatus::Good;
}

} // namespace

Action addOperations(CLI::App& command)
{
    describe(command, DESCRIPTION, EXAMPLE);
    return {run};
}

} // namespace ksrbac
