#include "cachewriter/metadata.h"

#include <string>

#include <gtest/gtest.h>

#include "cachewriter/PublishError.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::Metadata;
using keepsafe_service::PublishError;

Metadata example()
{
    Metadata metadata;
    metadata.generation = 0x0102030405060708;
    metadata.writeInProgress = true;
    metadata.segmentRoot = 0x20;
    metadata.objectRecords = 0xA1;
    metadata.nodeRecords = 0xA2;
    metadata.segmentRecords = 0xA3;
    metadata.countRecords = 0xA4;
    metadata.accessDefinitions = 0xA5;
    return metadata;
}

std::string errorOf(const std::string& bytes)
{
    return thrownBy<PublishError>([&] { Metadata::decode(bytes, "metadata"); }).what();
}

TEST(Metadata, LiesInTheFileAsTheFormatSays)
{
    const std::string expected("KSACACHE"                                 // 0: magic
                               "\x01\0\0\0"                               // 8: format version
                               "\x08\x07\x06\x05\x04\x03\x02\x01"         // 12: generation
                               "\x01\0\0\0\0\0\0\0"                       // 20: write in progress
                               "\x20\0\0\0"                               // 28: root
                               "\xA1\0\0\0\xA2\0\0\0\xA3\0\0\0\xA4\0\0\0" // 32: records in use
                               "\xA5\0\0\0\0\0\0\0"                       // 48: access definitions
                               "\0\0\0\0\0\0\0\0",                        // 56: reserved
                               64);

    EXPECT_EQ(example().encode(), expected);
}

TEST(Metadata, ReadsBackWhatItWrote)
{
    EXPECT_EQ(Metadata::decode(example().encode(), "metadata").encode(), example().encode());
}

TEST(Metadata, OfAnUnfinishedFileIsThatOfAWriteInProgress)
{
    const std::string whole = Metadata().encode();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Metadata metadata = Metadata::decode(whole.substr(0, length), "metadata");
        EXPECT_TRUE(metadata.writeInProgress) << length << " bytes";
        EXPECT_EQ(metadata.generation, 0U) << length << " bytes";
    }
}

TEST(Metadata, OfAnotherProgramIsRefused)
{
    EXPECT_EQ(errorOf("KSANOTHER"), "metadata was written by another program and is left as it is");
    EXPECT_EQ(errorOf(std::string(64, '\0')), "metadata was written by another program and is left as it is");
}

TEST(Metadata, OfALaterFormatIsRefused)
{
    std::string later = example().encode();
    later[8] = 2;

    EXPECT_EQ(errorOf(later), "metadata has format version 2, this program writes version 1");
}

} // namespace
} // namespace keepsafe_test
