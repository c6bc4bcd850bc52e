#include "policy/policy_image.h"

#include <string>

#include <gtest/gtest.h>

#include "policy/policy_reader.h"

namespace {

using keepsafe_service::CacheImage;
using Tessara::Keepsafe::Rbac::ManagedObject;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

/// The record of a policy's only object, which has access definitions with these propagations.
ManagedObject recordWith(const std::string& definitions, CacheImage& image)
{
    image = imageOf(keepsafe_sandbox::readPolicy(
        R"({"operations": {"|VIEW|": 3, "|ADD|": 35}, "roles": [{"id": 1, "name": "x"}],
            "objects": [{"namespace": "|A|"}], "accessDefinitions": [)" +
            definitions + "]}",
        ObjectNamespace()));
    return image.objects.at(1);
}

std::string definition(const std::string& propagation, const std::string& operation)
{
    return R"({"object": "|A|", "role": 1, "propagation": ")" + propagation + R"(", "operations": [")" +
           operation + "\"]}";
}

TEST(PolicyImage, TakesObjectAsTheObjectsOwnBits)
{
    CacheImage image;
    const ManagedObject record = recordWith(definition("OBJECT", "|VIEW|"), image);

    EXPECT_NE(record.ownBits, 0U);
    EXPECT_EQ(record.childBits, 0U);
}

TEST(PolicyImage, TakesChildrenAsChildBits)
{
    CacheImage image;
    const ManagedObject record = recordWith(definition("CHILDREN", "|VIEW|"), image);

    EXPECT_EQ(record.ownBits, 0U);
    EXPECT_NE(record.childBits, 0U);
}

TEST(PolicyImage, TakesObjectAndChildrenAsBoth)
{
    CacheImage image;
    const ManagedObject record = recordWith(definition("OBJECT_AND_CHILDREN", "|VIEW|"), image);

    EXPECT_NE(record.ownBits, 0U);
    EXPECT_EQ(record.childBits, record.ownBits) << "equal trees are stored once";
}

TEST(PolicyImage, AddsUpTheAccessDefinitionsOfAnObject)
{
    CacheImage image;
    const ManagedObject record =
        recordWith(definition("OBJECT", "|VIEW|") + "," + definition("OBJECT", "|ADD|"), image);

    EXPECT_EQ(image.counts.at(1), 2U);
    EXPECT_EQ(image.nodes.size(), 1U + 2U + 1U) << "one role with two words";
    EXPECT_EQ(record.ownBits, 3 * sizeof(image.nodes[0]));
}

TEST(PolicyImage, KeepsNothingForADefinitionWithoutOperations)
{
    CacheImage image;
    const ManagedObject record =
        recordWith(R"({"object": "|A|", "role": 1, "propagation": "OBJECT", "operations": []})", image);

    EXPECT_EQ(record.ownBits, 0U);
    EXPECT_EQ(image.counts.at(1), 1U);
}

} // namespace
