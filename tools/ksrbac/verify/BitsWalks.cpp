#include "verify/BitsWalks.h"

#include <cstddef>

namespace ksrbac {

using Tessara::Keepsafe::Rbac::detail::BitsNode;

void WordWalk::walkFrom(const Reference& root, const Whereabouts& role)
{
    role_ = &role;
    walk(root);
    role_ = nullptr;
}

std::string WordWalk::reached() const
{
    const std::string words = frames().empty() ? "" : "words of ";
    return words + role_->reached() + stepsDown();
}

void RoleWalk::walkFrom(const Reference& root, const Whereabouts& object)
{
    object_ = &object;
    walk(root);
    object_ = nullptr;
}

std::string RoleWalk::reached() const
{
    if (frames().empty()) {
        return object_->reached();
    }
    const std::string role = std::to_string(record(frames().back().index).key);
    return "role " + role + " in the " + object_->reached() + stepsDown();
}

void RoleWalk::examine(std::uint32_t index)
{
    words_.walkFrom({record(index).value, file(), byteOf(index, offsetof(BitsNode, value)), "word tree"},
                    *this);
}

} // namespace ksrbac
