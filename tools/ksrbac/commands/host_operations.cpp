#include "commands/host_operations.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <keepsafe/cache/OperationCache.h>

#include "commands/load_operations.h"
#include "output/Listing.h"

namespace ksrbac {

namespace {

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

} // namespace

void printHostOperations(bool json, Console& console)
{
    using Align = TextTable::Align;
    const Listing<Entry> listing{
        {{"BIT", Align::Right, [](const Entry& entry) { return std::to_string(entry.first); }},
         {"OPERATION", Align::Left, [](const Entry& entry) { return entry.second; }}},
        [](const Entry& entry) {
            return JsonObject().add("operation", entry.second).add("bit", std::int64_t{entry.first});
        }};
    listing.print(entriesByBit(), json, console);
}

} // namespace ksrbac
