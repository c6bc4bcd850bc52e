#ifndef KEEPSAFE_SERVICE_CACHEWRITER_GRANTS_H
#define KEEPSAFE_SERVICE_CACHEWRITER_GRANTS_H

#include <cstdint>
#include <map>

#include <keepsafe/cache/Operation.h>

namespace keepsafe_service {

/// Which operations which roles hold. Words without a bit, and roles without a word, are never kept.
class Grants {
public:
    /// Words of 32 bits by their index.
    using Words = std::map<std::int32_t, std::uint32_t>;

    void add(std::int32_t roleId, Tessara::Keepsafe::Rbac::Operation operation)
    {
        roles_[roleId][operation.wordIndex()] |= operation.bitMask();
    }

    [[nodiscard]] bool empty() const noexcept { return roles_.empty(); }
    [[nodiscard]] const std::map<std::int32_t, Words>& roles() const noexcept { return roles_; }

private:
    std::map<std::int32_t, Words> roles_;
};

} // namespace keepsafe_service

#endif
