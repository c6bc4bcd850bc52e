#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <keepsafe/cache/OperationCache.h>

#include "commands/commands.h"
#include "commands/load_operations.h"
#include "output/Json.h"
#include "output/TextTable.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

using Entry = std::pair<std::int32_t, std::string>;

std::vector<Entry> entriesByBit()
{
    Rbac::OperationCache cache;
    loadOperations(cache);
    std::vector<Entry> entries;
    for (const auto& [operation, bit] : cache.operations()) {
        entries.emplace_back(bit.offset, operation.str());
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

} // namespace

ExitStatus runOperations(bool json, Console& console)
{
    const std::vector<Entry> entries = entriesByBit();
    if (json) {
        for (const auto& [bit, operation] : entries) {
            console.print(JsonObject().add("operation", operation).add("bit", std::int64_t{bit}).text() +
                          '\n');
        }
        return ExitStatus::Good;
    }
    TextTable table({TextTable::Align::Right, TextTable::Align::Left});
    table.addRow({"BIT", "OPERATION"});
    for (const auto& [bit, operation] : entries) {
        table.addRow({std::to_string(bit), operation});
    }
    console.print(table.text());
    return ExitStatus::Good;
}

} // namespace ksrbac
