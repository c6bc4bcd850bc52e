#include "policy/role_bits.h"

#include <utility>

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

bool has(const RoleBits& bits, std::int32_t role, std::int32_t bit)
{
    const auto found = bits.find(role);
    return found != bits.end() && found->second.count(bit) != 0;
}

} // namespace

RoleBits bitsOf(const Rbac::RoleWords& words)
{
    RoleBits bits;
    for (const Rbac::RoleWord& word : words) {
        for (unsigned bit = 0; bit < 32; ++bit) {
            if ((word.bits >> bit & 1U) != 0) {
                bits[word.roleId].insert(word.operation(bit).offset);
            }
        }
    }
    return bits;
}

Rbac::RoleWords wordsOf(const RoleBits& bits)
{
    std::map<std::pair<std::int32_t, std::int32_t>, std::uint32_t> words;
    for (const auto& [role, numbers] : bits) {
        for (const std::int32_t number : numbers) {
            const Rbac::Operation operation{number};
            words[{role, operation.wordIndex()}] |= operation.bitMask();
        }
    }
    Rbac::RoleWords list;
    for (const auto& [place, word] : words) {
        list.push_back({place.first, place.second, word});
    }
    return list;
}

ScopedRoleBits bitsByScope(const Rbac::GrantedObject& object)
{
    const RoleBits own = bitsOf(object.onObject);
    const RoleBits children = bitsOf(object.onChildren);
    ScopedRoleBits scoped;
    for (const auto& [role, bits] : own) {
        for (const std::int32_t bit : bits) {
            (has(children, role, bit) ? scoped.both : scoped.onObject)[role].insert(bit);
        }
    }
    for (const auto& [role, bits] : children) {
        for (const std::int32_t bit : bits) {
            if (!has(own, role, bit)) {
                scoped.onChildren[role].insert(bit);
            }
        }
    }
    return scoped;
}

} // namespace ksrbac
