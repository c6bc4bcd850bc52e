#ifndef KEEPSAFE_BENCH_PEERS_OBJECT_TREE_H
#define KEEPSAFE_BENCH_PEERS_OBJECT_TREE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "cachewriter/ImageBuilder.h"

namespace keepsafe_bench {

/// Levels of the generated cache: root, areas, kinds, leaves.
constexpr std::size_t LEVELS = 4;

/// The generated cache's objects in ascending order of their names, so that each follows its parent, with
/// their level. Databases are filled best in this order.
void visitObjects(
    std::uint64_t leaves,
    const std::function<void(const keepsafe_service::CacheObject& object, std::size_t level)>& visit);

/// The text form of the parent of a name in text form; empty for that of the root.
inline std::string_view parentText(std::string_view text) noexcept
{
    if (text.size() <= 1) {
        return {};
    }
    text.remove_suffix(1);
    return text.substr(0, text.rfind('|') + 1);
}

} // namespace keepsafe_bench

#endif
