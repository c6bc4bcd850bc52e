#include "peers/deep_tree.h"

#include <cstdint>
#include <string>

#include "cachewriter/ImageBuilder.h"
#include "generate/GeneratedCache.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;
using keepsafe_sandbox::RandomNumbers;
using keepsafe_service::CacheObject;
using keepsafe_service::ImageBuilder;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

constexpr unsigned CHAINS = 16;
constexpr unsigned LEAVES = 64; ///< of each chain

/// The next object down a chain from one of `depth` components.
ObjectNamespace linkBelow(const ObjectNamespace& above, unsigned chain, unsigned depth)
{
    return above | (depth == 1 ? "chain-" + std::to_string(chain) : "link-" + std::to_string(depth));
}

ObjectNamespace leafBelow(const ObjectNamespace& above, unsigned chain, unsigned leaf)
{
    return above | GeneratedCache::leafName(chain * LEAVES + leaf);
}

} // namespace

keepsafe_service::CacheImage deepTree(unsigned depth)
{
    const GeneratedCache generated(std::uint64_t{CHAINS} * LEAVES, SEED);
    ImageBuilder builder;
    CacheObject root;
    root.ns = GeneratedCache::rootNamespace();
    root.child = generated.area(0).child;
    builder.add(root);
    for (unsigned chain = 0; chain < CHAINS; ++chain) {
        ObjectNamespace above = root.ns;
        for (unsigned level = 1; level + 1 < depth; ++level) {
            above = linkBelow(above, chain, level);
            CacheObject link = generated.kind(chain % GeneratedCache::AREAS, level % GeneratedCache::KINDS);
            link.ns = above;
            builder.add(link);
        }
        for (unsigned leaf = 0; leaf < LEAVES; ++leaf) {
            CacheObject object = generated.leaf(chain * LEAVES + leaf);
            object.ns = leafBelow(above, chain, leaf);
            builder.add(object);
        }
    }
    return std::move(builder).build();
}

Questions::DrawObject drawDeepLeaf(unsigned depth)
{
    return [depth](RandomNumbers& random) {
        const unsigned chain = random.below(CHAINS);
        ObjectNamespace above = GeneratedCache::rootNamespace();
        for (unsigned level = 1; level + 1 < depth; ++level) {
            above = linkBelow(above, chain, level);
        }
        return leafBelow(above, chain, random.below(LEAVES));
    };
}

} // namespace keepsafe_bench
