/// The order of the fields of public records: a program that was compiled against the headers finds them by
/// it.

#include <cstddef>
#include <cstring>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/Manifest.h>
#include <keepsafe/cache/Operation.h>
#include <keepsafe/cache/detail/records.h>
#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/api/Roles.h>
#include <keepsafe/rbac/registration/ObjectRegistrationData.h>

namespace {

using namespace Tessara::Keepsafe::Rbac;
using testing::ElementsAre;

/// As the platform's C++ ABI has it, a pointer to a field is its offset.
template <typename Field>
std::ptrdiff_t offsetOf(Field field)
{
    static_assert(sizeof field == sizeof(std::ptrdiff_t));
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &field, sizeof field);
    return offset;
}

template <typename... Fields>
std::vector<std::ptrdiff_t> offsetsOf(Fields... fields)
{
    return {offsetOf(fields)...};
}

/// The first field is where the record begins, and each other one behind the one before.
void expectInOrder(const std::vector<std::ptrdiff_t>& offsets)
{
    EXPECT_EQ(offsets.front(), 0);
    for (std::size_t i = 1; i < offsets.size(); ++i) {
        EXPECT_LT(offsets[i - 1], offsets[i]) << "field " << i + 1;
    }
}

TEST(FieldOrder, OfAManifest)
{
    expectInOrder(
        offsetsOf(&Manifest::ns, &Manifest::cacheId, &Manifest::directory, &Manifest::manifestFileName));
}

TEST(FieldOrder, OfAnOperation)
{
    EXPECT_EQ(offsetOf(&Operation::offset), 0);
    EXPECT_EQ(sizeof(Operation), 4U);
}

TEST(FieldOrder, OfARole)
{
    expectInOrder(offsetsOf(&Role::href, &Role::id, &Role::name, &Role::description, &Role::systemDefined));
}

TEST(FieldOrder, OfAManagedObjectResource)
{
    using Record = ManagedObjectResource;
    expectInOrder(offsetsOf(&Record::href, &Record::object, &Record::inherit, &Record::state));
}

TEST(FieldOrder, OfAnAccessDefinition)
{
    using Record = AccessDefinition;
    expectInOrder(offsetsOf(&Record::href, &Record::id, &Record::propagation, &Record::roleId,
                            &Record::operations, &Record::managedObject));
}

TEST(FieldOrder, OfRegistrationData)
{
    using Record = ObjectRegistrationData;
    expectInOrder(offsetsOf(&Record::objectNamespace, &Record::objectType, &Record::accessControlAttributes,
                            &Record::relativeChildNamespaces, &Record::ignoreAlreadyRegistered));
}

TEST(FieldOrder, OfTheCachesRecordsIsThatOfTheFiles)
{
    EXPECT_THAT(offsetsOf(&detail::MetadataHeader::writeInProgress, &detail::MetadataHeader::segmentRoot),
                ElementsAre(20, 28));
    EXPECT_THAT(offsetsOf(&ManagedObject::inherit, &ManagedObject::ownBits, &ManagedObject::childBits),
                ElementsAre(4, 8, 12));
    using Segment = detail::SegmentNode;
    EXPECT_THAT(
        offsetsOf(&Segment::left, &Segment::right, &Segment::key, &Segment::object, &Segment::nextLevel),
        ElementsAre(8, 12, 16, 20, 24));
    using Node = detail::BitsNode;
    EXPECT_THAT(offsetsOf(&Node::left, &Node::right, &Node::key, &Node::value), ElementsAre(8, 12, 16, 20));
}

} // namespace
