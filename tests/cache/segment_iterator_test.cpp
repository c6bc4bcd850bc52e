#include <keepsafe/cache/detail/segment_iterator.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/CacheWriter.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::detail::namespaceSegments;
using Tessara::Keepsafe::Rbac::detail::segment_iterator;

std::vector<std::int32_t> segmentsOf(const ObjectNamespace& ns)
{
    std::vector<std::int32_t> values;
    auto [segment, end] = namespaceSegments(ns);
    for (; segment != end; ++segment) {
        values.push_back(*segment);
    }
    return values;
}

TEST(SegmentIterator, TheRootIsOneSegment)
{
    EXPECT_EQ(segmentsOf(ObjectNamespace()), (std::vector<std::int32_t>{0x7C000000}));
}

TEST(SegmentIterator, ASegmentEndsJustAfterABar)
{
    EXPECT_EQ(segmentsOf(ObjectNamespace("ab")), (std::vector<std::int32_t>{0x7C000000, 0x61627C00}));
}

TEST(SegmentIterator, AComponentOfFourBytesLeavesItsBarToTheNextSegment)
{
    EXPECT_EQ(segmentsOf(ObjectNamespace("abcd")),
              (std::vector<std::int32_t>{0x7C000000, 0x61626364, 0x7C000000}));
}

TEST(SegmentIterator, AComponentOfThreeBytesTakesItsBarAlong)
{
    EXPECT_EQ(segmentsOf(ObjectNamespace("abc", "")),
              (std::vector<std::int32_t>{0x7C000000, 0x6162637C, 0x7C000000}));
}

TEST(SegmentIterator, BytesFrom0x80UpGiveNegativeValues)
{
    const std::string text = "\xE9z|";
    EXPECT_EQ(*segment_iterator(text, 0), static_cast<std::int32_t>(0xE97A7C00U));
    EXPECT_LT(*segment_iterator(text, 0), 0);
}

TEST(SegmentIterator, PositionsAtAndPastTheEndAreEqual)
{
    const std::string text = "|a|";
    EXPECT_TRUE(segment_iterator(text, 3) == segment_iterator(text, 99));
    EXPECT_TRUE(segment_iterator(text, 1) == segment_iterator(text, 1));
    EXPECT_FALSE(segment_iterator(text, 1) == segment_iterator(text, 3));
    EXPECT_FALSE(segment_iterator(text, 3) == segment_iterator(text, 1));
}

TEST(SegmentIterator, TellsWhichSegmentsEndAComponent)
{
    const ObjectNamespace ns("abcdef", "x");
    auto [segment, end] = namespaceSegments(ns);
    std::string ends;
    for (; segment != end; ++segment) {
        ends += segment.endsComponent() ? '1' : '0';
    }
    EXPECT_EQ(ends, "1011"); // | abcd ef| x|
}

TEST(SegmentIterator, AgreesWithCuttingTheTextByHand)
{
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        ObjectNamespace ns;
        for (auto left = random() % 5; left > 0; --left) {
            std::string component(random() % 11, '\0');
            for (char& character : component) {
                character = static_cast<char>(random() % 256);
            }
            ns = ns | component;
        }
        EXPECT_EQ(segmentsOf(ns), segmentValues(ns.str())) << ns.str();
    }
}

} // namespace
} // namespace keepsafe_test
