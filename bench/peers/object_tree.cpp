#include "peers/object_tree.h"

#include "generate/GeneratedCache.h"
#include "questions/Questions.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;
using keepsafe_service::CacheObject;

void visitObjects(std::uint64_t leaves, const std::function<void(const CacheObject&, std::size_t)>& visit)
{
    const GeneratedCache generated(leaves, SEED);
    CacheObject root;
    root.ns = GeneratedCache::rootNamespace();
    visit(root, 0);
    for (unsigned area = 0; area < GeneratedCache::AREAS; ++area) {
        visit(generated.area(area), 1);
        for (unsigned kind = 0; kind < GeneratedCache::KINDS; ++kind) {
            visit(generated.kind(area, kind), 2);
            constexpr std::uint64_t kinds = std::uint64_t{GeneratedCache::AREAS} * GeneratedCache::KINDS;
            for (std::uint64_t leaf = area + std::uint64_t{GeneratedCache::AREAS} * kind; leaf < leaves;
                 leaf += kinds) {
                visit(generated.leaf(leaf), 3);
            }
        }
    }
}

} // namespace keepsafe_bench
