#ifndef KEEPSAFE_SANDBOX_GENERATE_GENERATEDCACHE_H
#define KEEPSAFE_SANDBOX_GENERATE_GENERATEDCACHE_H

#include <cstdint>
#include <functional>
#include <string>

#include <keepsafe/cache/Operation.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cachewriter/CacheImage.h"
#include "cachewriter/ImageBuilder.h"
#include "cachewriter/OperationCacheUpdate.h"

namespace keepsafe_sandbox {

/// Receives how much of the work is done.
using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// A cache of any size for measurements, the same for the same number of leaves and seed. Each object depends
/// only on the seed and its own number, so that a benchmark knows the content of the cache without reading
/// it.
///
/// - the root `|KEEPSAFE|`, which grants nothing;
/// - 8 areas like `|KEEPSAFE|area-3|`: each grants 4 operations to each of 5 roles for its children;
/// - 16 kinds in each area, like `|KEEPSAFE|area-3|kind-07|`: 8 operations to each of 10 roles for the
///   children;
/// - leaves like `|KEEPSAFE|area-3|kind-07|vm-0000123-prod.example|`: a fifth of them grant 4 operations to
///   each of 2 roles, on themselves.
///
/// Leaf i is in area i mod 8, kind i / 8 mod 16. 5 % of the leaves do not inherit. Roles are 1 to 200,
/// operations `|OPERATIONS|OP-00|` to `OP-63`, on the bits 64 to 127: so a generated cache can be published
/// beside a compiled policy that uses lower bits. Roles and operations are drawn without repetition within a
/// grant.
class GeneratedCache {
public:
    static constexpr unsigned AREAS = 8;
    static constexpr unsigned KINDS = 16;
    static constexpr unsigned ROLES = 200;
    static constexpr unsigned OPERATIONS = 64;
    static constexpr std::int32_t FIRST_ROLE = 1;
    static constexpr std::int32_t FIRST_BIT = 64;

    GeneratedCache(std::uint64_t leaves, std::uint64_t seed) noexcept : leaves_(leaves), seed_(seed) {}

    [[nodiscard]] static Tessara::Keepsafe::Rbac::ObjectNamespace rootNamespace();
    [[nodiscard]] static Tessara::Keepsafe::Rbac::ObjectNamespace areaNamespace(unsigned area);
    [[nodiscard]] static Tessara::Keepsafe::Rbac::ObjectNamespace kindNamespace(unsigned area, unsigned kind);
    [[nodiscard]] static std::string leafName(std::uint64_t leaf);
    [[nodiscard]] static Tessara::Keepsafe::Rbac::ObjectNamespace leafNamespace(std::uint64_t leaf);
    [[nodiscard]] static Tessara::Keepsafe::Rbac::ObjectNamespace operationNamespace(unsigned operation);
    [[nodiscard]] static Tessara::Keepsafe::Rbac::Operation operationBit(unsigned operation);
    [[nodiscard]] static keepsafe_service::OperationBits operations();

    [[nodiscard]] keepsafe_service::CacheObject area(unsigned area) const;
    [[nodiscard]] keepsafe_service::CacheObject kind(unsigned area, unsigned kind) const;
    [[nodiscard]] keepsafe_service::CacheObject leaf(std::uint64_t leaf) const;

    /// Number of objects, including those above the leaves.
    [[nodiscard]] std::uint64_t objectCount() const noexcept { return 1 + AREAS + AREAS * KINDS + leaves_; }
    /// All of them as a cache; `progress` is called now and then.
    [[nodiscard]] keepsafe_service::CacheImage build(const Progress& progress = {}) const;

private:
    void addLeaves(keepsafe_service::ImageBuilder& builder, const Progress& progress) const;

    std::uint64_t leaves_;
    std::uint64_t seed_;
};

} // namespace keepsafe_sandbox

#endif
