#include "cachewriter/live/LiveContent.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "errors/InputError.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::CacheContent;
using keepsafe_service::CacheObject;
using keepsafe_service::FileContent;
using keepsafe_service::FileRange;
using keepsafe_service::InputError;
using keepsafe_service::LiveContent;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

CacheObject object(const ObjectNamespace& ns, std::int32_t role = 1, std::int32_t bit = 1)
{
    CacheObject object;
    object.ns = ns;
    object.own.add(role, Operation{bit});
    object.child.add(role + 1, Operation{bit});
    object.accessDefinitionCount = 2;
    return object;
}

std::string bytesOf(const FileContent& content)
{
    std::string bytes = std::to_string(content.records) + ":";
    for (const FileRange& range : content.ranges) {
        bytes += std::to_string(range.offset) + "+";
        bytes += range.bytes;
    }
    return bytes;
}

std::vector<std::string> bytesOf(const CacheContent& content)
{
    return {bytesOf(content.objects),
            bytesOf(content.nodes),
            bytesOf(content.segments),
            bytesOf(content.counts),
            std::to_string(content.segmentRoot),
            std::to_string(content.accessDefinitions)};
}

std::size_t changedBytes(const LiveContent& content)
{
    const CacheContent changes = content.changes();
    std::size_t bytes = 0;
    for (const FileContent* file : {&changes.objects, &changes.nodes, &changes.segments, &changes.counts}) {
        for (const FileRange& range : file->ranges) {
            bytes += range.bytes.size();
        }
    }
    return bytes;
}

TEST(LiveContent, CountsObjectsAndAccessDefinitions)
{
    LiveContent content;
    content.put(object(ObjectNamespace("A")));
    content.put(object(ObjectNamespace("B")));
    content.put(object(ObjectNamespace("B"), 5));
    EXPECT_EQ(content.objectCount(), 2U);
    EXPECT_EQ(content.whole().accessDefinitions, 4U);

    content.remove(ObjectNamespace("B"));
    content.remove(ObjectNamespace("C"));
    EXPECT_EQ(content.objectCount(), 1U);
    EXPECT_EQ(content.whole().accessDefinitions, 2U);
}

TEST(LiveContent, WithoutObjectsHasReservedRecordsAndNoRoot)
{
    LiveContent content;
    content.put(object(ObjectNamespace()));
    content.remove(ObjectNamespace());

    EXPECT_EQ(content.objectCount(), 0U);
    EXPECT_EQ(content.whole().segmentRoot, 0U);
    EXPECT_EQ(LiveContent().whole().objects.records, 1U);
}

TEST(LiveContent, TheSameObjectAgainChangesNothing)
{
    LiveContent content;
    content.put(object(ObjectNamespace("A")));
    content.forgetChanges();
    const auto before = bytesOf(content.whole());

    content.put(object(ObjectNamespace("A")));
    content.remove(ObjectNamespace("B"));

    EXPECT_EQ(changedBytes(content), 0U);
    EXPECT_EQ(bytesOf(content.whole()), before);
}

TEST(LiveContent, ReplacingAnObjectManyTimesNeedsRoomForOneMore)
{
    LiveContent content;
    for (std::int32_t role = 0; role < 1000; ++role) {
        content.put(object(ObjectNamespace("A"), role, role));
    }

    EXPECT_EQ(content.whole().objects.records, 2U);
    EXPECT_LE(content.whole().nodes.records, 1U + 2 * 3U) << "two roles, one word, before and after";
}

/// Files without room for one thing or the other.
struct Full {
    const char* file;
    LiveContent::Limits limits;
};

class FullContent : public testing::TestWithParam<Full> {};

INSTANTIATE_TEST_SUITE_P(Files, FullContent,
                         testing::Values(Full{"objects", {1 + 2, SIZE_MAX, SIZE_MAX}},
                                         Full{"nodes", {SIZE_MAX, 1 + 7, SIZE_MAX}},
                                         Full{"segments", {SIZE_MAX, SIZE_MAX, 1 + 6}}),
                         [](const testing::TestParamInfo<Full>& test) {
                             return std::string(test.param.file);
                         });

TEST_P(FullContent, StaysAsItWas)
{
    LiveContent content(GetParam().limits);
    content.put(object(ObjectNamespace("A")));
    content.put(object(ObjectNamespace("B"), 2, 2));
    content.forgetChanges();
    const auto before = bytesOf(content.whole());

    EXPECT_EQ(thrownBy<InputError>([&] {
                  content.put(object(ObjectNamespace("C", "long-name", "longer-name"), 7, 7));
              }).what(),
              "too many objects: the file \"" + std::string(GetParam().file) + "\" would exceed 4 GiB");
    EXPECT_EQ(content.objectCount(), 2U);
    // What was taken for a moment and given back may be another free record; what is in use is the same.
    EXPECT_EQ(bytesOf(content.whole()).at(0), before.at(0));
    EXPECT_EQ(bytesOf(content.whole()).at(2), before.at(2));
    EXPECT_EQ(bytesOf(content.whole()).at(3), before.at(3));

    content.remove(ObjectNamespace("B"));
    EXPECT_NO_THROW(content.put(object(ObjectNamespace("C"), 7, 7))) << "a removal makes room";
}

} // namespace
} // namespace keepsafe_test
