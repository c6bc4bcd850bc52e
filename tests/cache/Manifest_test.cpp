#include <keepsafe/cache/Manifest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <keepsafe/platform/status/EC_exception.h>

#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::ElementsAre;
using testing::IsEmpty;

class ManifestTest : public testing::Test {
protected:
    int statusOfOpening(const std::string& content)
    {
        writeFile(path_, content);
        return statusOfOpening();
    }
    int statusOfOpening()
    {
        return thrownStatus([this] { const Manifest manifest("id", dir_.path()); });
    }

    TempDir dir_;
    std::string path_ = dir_.path("manifest.json");
    CapturedLog log_;
};

TEST_F(ManifestTest, KnowsNamespaceIdAndPlaces)
{
    writeFile(path_, R"({"namespace": "|KEEPSAFE|a+b|", "version": 7})");
    const Manifest manifest("cache-1", dir_.path());
    EXPECT_EQ(manifest.ns, ObjectNamespace("KEEPSAFE", "a b"));
    EXPECT_EQ(manifest.cacheId, "cache-1");
    EXPECT_EQ(manifest.directory, dir_.path());
    EXPECT_EQ(manifest.manifestFileName, path_);
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ManifestTest, AMissingFileIsStatus12)
{
    EXPECT_EQ(statusOfOpening(), 12);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, "Manifest constructor",
                                    "Error loading " + path_ + " at position 0: unable to open " + path_ +
                                        ": No such file or directory"}));
}

TEST_F(ManifestTest, AFifoInItsPlaceIsStatus12AndNotWaitedFor)
{
    ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(statusOfOpening(), 12);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, "Manifest constructor",
                                    "Error loading " + path_ + " at position 0: unable to open " + path_ +
                                        ": not a regular file"}));
}

TEST_F(ManifestTest, AFileThatIsTooLongIsStatus12AndNotReadToItsEnd)
{
    writeFile(path_, R"({"namespace": "|"})");
    std::filesystem::resize_file(path_, std::uintmax_t{1} << 40U);
    EXPECT_EQ(statusOfOpening(), 12);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, "Manifest constructor",
                                    "Error loading " + path_ + " at position 0: unable to read " + path_ +
                                        ": File too large"}));
}

TEST_F(ManifestTest, AFileThatIsNoJsonIsStatus12WithThePosition)
{
    EXPECT_EQ(statusOfOpening("{\"namespace\": }"), 12);
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{16, "Manifest constructor",
                                                  "Error loading " + path_ +
                                                      " at position 15: unexpected token near '}'"}));
}

TEST_F(ManifestTest, AnEmptyFileIsStatus12) { EXPECT_EQ(statusOfOpening(""), 12); }

TEST_F(ManifestTest, AFolderInPlaceOfTheFileIsStatus12)
{
    writeFile(path_ + "/inside", "");
    EXPECT_EQ(statusOfOpening(), 12);
    EXPECT_THAT(log_.lines(), ElementsAre(testing::Field(&LogLine::level, 16)));
}

TEST_F(ManifestTest, AMissingNamespaceIsStatus12)
{
    EXPECT_EQ(statusOfOpening("{}"), 12);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, "Manifest constructor",
                                    "Error loading " + path_ + ": Object item not found: namespace"}));
}

TEST_F(ManifestTest, ANamespaceThatIsNoStringIsStatus12)
{
    EXPECT_EQ(statusOfOpening(R"({"namespace": 99999999999999999})"), 12);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, "Manifest constructor",
                                    "Error loading " + path_ + ": Expected string, got integer"}));
}

TEST_F(ManifestTest, ARootThatIsNoObjectIsStatus12)
{
    EXPECT_EQ(statusOfOpening("[]"), 12);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, "Manifest constructor",
                                    "Error loading " + path_ + ": Expected object, got array"}));
}

TEST_F(ManifestTest, ANumberThatIsTooLargeForJsonIsStatus12)
{
    EXPECT_EQ(statusOfOpening(R"({"namespace": "|", "n": 99999999999999999999})"), 12);
}

TEST_F(ManifestTest, ATextThatIsNoNamespaceIsStatus7610)
{
    EXPECT_EQ(statusOfOpening(R"({"namespace": "KEEPSAFE"})"), 7610);
    EXPECT_EQ(statusOfOpening(R"({"namespace": ""})"), 7610);
    EXPECT_EQ(statusOfOpening(R"({"namespace": "|a%4|"})"), 7610);
    EXPECT_THAT(log_.lines(), IsEmpty()) << "the reason is in the exception alone";
}

TEST_F(ManifestTest, ANamespaceWithMoreBehindItIsStatus7610)
{
    EXPECT_EQ(statusOfOpening(R"({"namespace": "|KEEPSAFE| "})"), 7610);
    EXPECT_EQ(statusOfOpening(R"({"namespace": "|KEEPSAFE|\n"})"), 7610);
    EXPECT_EQ(statusOfOpening(R"({"namespace": " |KEEPSAFE|"})"), 7610);
}

} // namespace
} // namespace keepsafe_test
