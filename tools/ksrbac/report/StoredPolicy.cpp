#include "report/StoredPolicy.h"

#include <type_traits>

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

std::string bytesOf(const Rbac::RoleWords& words)
{
    static_assert(std::has_unique_object_representations_v<Rbac::RoleWord>, "equal words have equal bytes");
    return {reinterpret_cast<const char*>(words.data()), words.size() * sizeof(Rbac::RoleWord)};
}

} // namespace

StoredPolicy::StoredPolicy(Rbac::PolicySource& source)
{
    Rbac::GrantedObject object;
    while (source.next(object)) {
        names_.add(object.name, stateOf(object));
    }
}

std::uint32_t StoredPolicy::stateOf(const Rbac::GrantedObject& object)
{
    const State state{object.inherits, setOf(object.onObject), setOf(object.onChildren)};
    const auto number = static_cast<std::uint32_t>(states_.size() + 1);
    const auto [place, isNew] =
        stateNumbers_.try_emplace({state.inherits, state.onObject, state.onChildren}, number);
    if (isNew) {
        states_.push_back(state);
    }
    return place->second;
}

std::uint32_t StoredPolicy::setOf(const Rbac::RoleWords& words)
{
    const auto number = static_cast<std::uint32_t>(sets_.size());
    const auto [place, isNew] = setNumbers_.try_emplace(bytesOf(words), number);
    if (isNew) {
        sets_.push_back(words);
    }
    return place->second;
}

bool StoredSource::next(Rbac::GrantedObject& object)
{
    if (!walk_.next()) {
        return false;
    }
    const StoredPolicy::State& state = policy_.states()[walk_.value() - 1];
    object.name = walk_.name();
    object.inherits = state.inherits;
    object.onObject = policy_.sets()[state.onObject];
    object.onChildren = policy_.sets()[state.onChildren];
    return true;
}

} // namespace ksrbac
