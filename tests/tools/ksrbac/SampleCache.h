#ifndef KEEPSAFE_TESTS_TOOLS_KSRBAC_SAMPLECACHE_H
#define KEEPSAFE_TESTS_TOOLS_KSRBAC_SAMPLECACHE_H

#include <string>

#include "support/CacheWriter.h"

namespace keepsafe_test {

/// A segment's value, from its text: "B|" is 0x427C0000.
inline std::int32_t segmentKey(const std::string& text) { return segmentValues(text).front(); }

/// A good cache in which every kind of reference occurs, record by record at known places:
///
///     segments   32 |          16 -> object, next level 64
///                64   B|       left 96, right 128
///                96   A|       object 32, next level 160
///               128   C|       object 48
///               160     x|     object 64
///     objects    16 |          children: role tree 24
///                32 |A|        own: role tree 24 (shared)
///                48 |C|        own: role tree 168
///                64 |A|x|      nothing
///     nodes      24 role 5     left 48, right 72, words 96
///                48 role 3     words 96 (shared)
///                72 role 9     no words
///                96 word 1     left 120, right 144
///               120 word 0
///               144 word 7
///               168 role -4    words 120 (a part of another tree)
///
/// Records 192 of "nodes" and 192 of "segments" are left over: nothing refers to them.
inline CacheWriter sampleCache()
{
    CacheWriter cache;
    cache.metadata.segmentRoot = 32;
    cache.add(segmentNode(segmentKey("|"), 0, 0, 16, 64));
    cache.add(segmentNode(segmentKey("B|"), 96, 128, 0, 0));
    cache.add(segmentNode(segmentKey("A|"), 0, 0, 32, 160));
    cache.add(segmentNode(segmentKey("C|"), 0, 0, 48, 0));
    cache.add(segmentNode(segmentKey("x|"), 0, 0, 64, 0));
    cache.add(segmentNode(-1, 4'000'000'000, 7, 3, 9));
    cache.add(managedObject(true, 0, 24));
    cache.add(managedObject(false, 24, 0));
    cache.add(managedObject(true, 168, 0));
    cache.add(managedObject(true, 0, 0));
    cache.add(bitsNode(5, 96, 48, 72));
    cache.add(bitsNode(3, 96));
    cache.add(bitsNode(9, 0));
    cache.add(bitsNode(1, 0xFFFF, 120, 144));
    cache.add(bitsNode(0, 1));
    cache.add(bitsNode(7, 2));
    cache.add(bitsNode(-4, 120));
    cache.add(bitsNode(0, 0, 1, 4'000'000'000));
    return cache;
}

} // namespace keepsafe_test

#endif
