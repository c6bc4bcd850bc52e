#ifndef KSRBAC_POLICY_OPERATIONNAMES_H
#define KSRBAC_POLICY_OPERATIONNAMES_H

#include <cstdint>
#include <map>
#include <string>

#include <keepsafe/cache/OperationCache.h>

namespace ksrbac {

/// The operations of the host by their permission bits. Where several share a bit, the first by name.
class OperationNames {
public:
    /// Reads the operation cache. Throws what `loadOperations` throws.
    OperationNames();

    /// The name, or `bit N`.
    [[nodiscard]] std::string nameOf(Tessara::Keepsafe::Rbac::Operation operation) const;
    /// Names by bits.
    [[nodiscard]] const std::map<std::int32_t, std::string>& names() const noexcept { return names_; }
    [[nodiscard]] const std::map<std::string, std::int32_t>& bits() const noexcept { return bits_; }

private:
    std::map<std::int32_t, std::string> names_;
    std::map<std::string, std::int32_t> bits_;
};

} // namespace ksrbac

#endif
