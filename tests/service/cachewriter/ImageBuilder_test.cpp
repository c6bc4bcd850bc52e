#include "cachewriter/ImageBuilder.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "errors/InputError.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::CacheImage;
using keepsafe_service::CacheObject;
using keepsafe_service::ImageBuilder;
using keepsafe_service::InputError;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using testing::SizeIs;

/// The records as they lie in the file: hexadecimal, a blank after every four bytes.
template <typename Record>
std::string hex(const std::vector<Record>& records)
{
    static const char* const digits = "0123456789ABCDEF";
    const auto* bytes = reinterpret_cast<const unsigned char*>(records.data());
    std::string text;
    for (std::size_t index = 0; index < records.size() * sizeof(Record); ++index) {
        text += index != 0 && index % 4 == 0 ? " " : "";
        text += {digits[bytes[index] >> 4U], digits[bytes[index] & 15U]};
    }
    return text;
}

/// The root grants role -1 the bit 0 below it; |A| does not inherit and grants role 5 the bit 37.
CacheImage tinyImage()
{
    CacheObject root;
    root.child.add(-1, Operation{0});
    root.accessDefinitionCount = 1;
    CacheObject object;
    object.ns = ObjectNamespace("A");
    object.inherit = false;
    object.own.add(5, Operation{37});
    object.accessDefinitionCount = 3;
    ImageBuilder builder;
    builder.add(root);
    builder.add(object);
    return std::move(builder).build();
}

TEST(ImageBuilder, WritesObjectsAsTheFormatSays)
{
    EXPECT_EQ(hex(tinyImage().objects), "00000000 00000000 00000000 00000000 "  // reserved
                                        "00000000 01000000 00000000 30000000 "  // |: inherits, children at 48
                                        "00000000 00000000 60000000 00000000"); // |A|: own bits at 96
}

TEST(ImageBuilder, WritesNodesAsTheFormatSays)
{
    EXPECT_EQ(hex(tinyImage().nodes),
              "00000000 00000000 00000000 00000000 00000000 00000000 "  // reserved
              "00000000 00000000 00000000 00000000 00000000 01000000 "  // word 0: bit 0
              "00000000 00000000 00000000 00000000 FFFFFFFF 18000000 "  // role -1: at 24
              "00000000 00000000 00000000 00000000 01000000 20000000 "  // word 1: bit 5
              "00000000 00000000 00000000 00000000 05000000 48000000"); // role 5: at 72
}

TEST(ImageBuilder, WritesSegmentsAsTheFormatSays)
{
    const CacheImage image = tinyImage();

    EXPECT_EQ(image.segmentRoot, 32U);
    EXPECT_EQ(hex(image.segments),
              "00000000 00000000 00000000 00000000 00000000 00000000 00000000 00000000 "  // reserved
              "00000000 00000000 00000000 00000000 0000007C 10000000 40000000 00000000 "  // "|"
              "00000000 00000000 00000000 00000000 00007C41 20000000 00000000 00000000"); // "A|"
}

TEST(ImageBuilder, WritesTheNumberOfAccessDefinitionsOfEachObject)
{
    EXPECT_EQ(hex(tinyImage().counts), "00000000 01000000 03000000");
}

TEST(ImageBuilder, ReservesRecordZeroOfEveryFileAndNamesNoRootWithoutObjects)
{
    const CacheImage image = ImageBuilder().build();

    EXPECT_EQ(image.segmentRoot, 0U);
    EXPECT_THAT(image.objects, SizeIs(1));
    EXPECT_THAT(image.nodes, SizeIs(1));
    EXPECT_THAT(image.segments, SizeIs(1));
    EXPECT_THAT(image.counts, SizeIs(1));
}

TEST(ImageBuilder, TakesObjectsInAnyOrder)
{
    const auto imageOf = [](const std::vector<std::string>& names) {
        ImageBuilder builder;
        for (const std::string& name : names) {
            CacheObject object;
            object.ns = ObjectNamespace("KEEPSAFE", name);
            builder.add(object);
        }
        return std::move(builder).build();
    };

    EXPECT_EQ(hex(imageOf({"a", "b", "c"}).segments), hex(imageOf({"c", "a", "b"}).segments));
}

TEST(ImageBuilder, RefusesAnObjectGivenTwice)
{
    ImageBuilder builder;
    CacheObject object;
    object.ns = ObjectNamespace("A", "B");
    builder.add(object);
    builder.add(object);

    EXPECT_STREQ(thrownBy<InputError>([&] { std::move(builder).build(); }).what(),
                 "object |A|B| is given twice");
}

TEST(RecordOffset, EndsWhereAnOffsetOf32BitsEnds)
{
    using Tessara::Keepsafe::Rbac::detail::SegmentNode;
    EXPECT_EQ(keepsafe_service::recordOffset<SegmentNode>(0x07FFFFFF, "segments"), 0xFFFFFFE0U);
    EXPECT_THROW(keepsafe_service::recordOffset<SegmentNode>(0x08000000, "segments"), InputError);
}

} // namespace
} // namespace keepsafe_test
