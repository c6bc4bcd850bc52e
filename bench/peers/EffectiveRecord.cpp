#include "peers/EffectiveRecord.h"

#include <array>
#include <string>

#include "peers/object_tree.h"

namespace keepsafe_bench {

namespace {

void append(std::string& record, const RoleGrants& grants)
{
    if (!grants.empty()) {
        record.append(reinterpret_cast<const char*>(grants.data()), grants.size() * sizeof(RoleGrant));
    }
}

std::string recordOf(const RoleGrants& own, const RoleGrants& inherited, const RoleGrants& child)
{
    const EffectiveRecord::Header header{static_cast<std::uint32_t>(own.size()),
                                         static_cast<std::uint32_t>(inherited.size()),
                                         static_cast<std::uint32_t>(child.size())};
    std::string record(reinterpret_cast<const char*>(&header), sizeof header);
    append(record, own);
    append(record, inherited);
    append(record, child);
    return record;
}

} // namespace

void visitRecords(std::uint64_t leaves, const std::function<void(std::string_view, std::string_view)>& visit)
{
    /// What the object last seen on each level grants on everything below it, including inherited grants.
    std::array<RoleGrants, LEVELS> below;
    visitObjects(leaves, [&](const keepsafe_service::CacheObject& object, std::size_t level) {
        static const RoleGrants nothing;
        const RoleGrants& inherited = level != 0 && object.inherit ? below[level - 1] : nothing;
        const RoleGrants child = flattened(object.child);
        visit(object.ns.str(), recordOf(flattened(object.own), inherited, child));
        below[level] = child.empty() ? inherited : united(inherited, child);
    });
}

} // namespace keepsafe_bench
