#include "report/ChangeList.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

ChangeList::ChangeList(Rbac::PolicySource& before, Rbac::PolicySource& after)
{
    comparePolicies(before, after, Rbac::WantedChanges{}, [this](const Rbac::PolicyChange& change) {
        add(change);
        return true;
    });
}

void ChangeList::add(const Rbac::PolicyChange& change)
{
    if (objects_.empty() || objects_.back() != change.object) {
        objects_.emplace_back(change.object);
    }
    changes_.push_back({objects_.size() - 1, change.kind, change.scope, change.inherits, change.roleId,
                        change.operation.offset});
}

NamesWithChanges::NamesWithChanges(const NameTree& original, const ChangeList& changes)
{
    const std::vector<std::string>& objects = changes.objects();
    auto changed = objects.begin();
    const auto addBefore = [&](const std::string& name) {
        for (; changed != objects.end() && *changed < name; ++changed) {
            nodes.push_back(names.add(*changed, NameTree::NO_VALUE));
        }
    };
    NameTree::Walk walk(original);
    while (walk.next()) {
        addBefore(walk.name());
        const std::uint32_t node = names.add(walk.name(), walk.value());
        if (changed != objects.end() && *changed == walk.name()) {
            nodes.push_back(node);
            ++changed;
        }
    }
    for (; changed != objects.end(); ++changed) {
        nodes.push_back(names.add(*changed, NameTree::NO_VALUE));
    }
}

} // namespace ksrbac
