#include "load.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <malloc.h>

#include "support/SmallStackThread.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::JsonHandle;
using Tessara::Keepsafe::loadJson;
using Tessara::Keepsafe::loadJsonFile;

TEST(LoadingJson, NeedsASmallStackForAnyText)
{
    for (const std::string& text : {std::string(2000, '['), std::string(100, '[') + std::string(100, ']')}) {
        bool isLoaded = false;
        runOnSmallStack(
            [&] {
                json_error_t error;
                isLoaded = loadJson(text, error) != nullptr;
            },
            64);
        EXPECT_EQ(isLoaded, text.size() == 200);
    }
}

TEST(LoadingJson, TakesNoTextForAnEmptyOne)
{
    json_error_t error;
    EXPECT_EQ(loadJson(std::string_view(), error), nullptr);
    EXPECT_STREQ(error.text, "'[' or '{' expected near end of file");
}

TEST(LoadingJson, FindsTheBoundsInAFile)
{
    const TempDir folder;
    const std::string path = folder.path("deep.json");
    writeFile(path, std::string(101, '['));
    json_error_t error;
    EXPECT_EQ(loadJsonFile(path, error), nullptr);
    EXPECT_STREQ(error.text, "more than 100 levels of arrays and objects");
    writeFile(path, "{}");
    EXPECT_NE(loadJsonFile(path, error), nullptr);
}

TEST(LoadingJson, SaysWhyAFileCannotBeRead)
{
    const TempDir folder;
    json_error_t error;
    EXPECT_EQ(loadJsonFile(folder.path("none"), error), nullptr);
    EXPECT_EQ(error.text, "unable to open " + folder.path("none") + ": No such file or directory");
    writeFile(folder.path("large"), "[\"" + std::string((64U << 20U) + 1, 'x') + "\"]");
    EXPECT_EQ(loadJsonFile(folder.path("large"), error), nullptr);
    EXPECT_EQ(error.text, "unable to read " + folder.path("large") + ": File too large");
}

TEST(LoadingJson, EstimatesTheMemoryOfEachKindOfValue)
{
    for (const std::string piece : {"{}", "[]", "\"\"", "1", "1.5", "true", R"({"a":1})", R"({"id":"|A|"})",
                                    R"([[[1]]])", R"({"a":"b","c":[1,2,3],"d":{"e":null}})"}) {
        std::string text = "[" + piece;
        for (int i = 1; i < 20000; ++i) {
            text += ',' + piece;
        }
        text += ']';
        json_error_t error;
        const auto used = [] { return ::mallinfo2().uordblks + ::mallinfo2().hblkhd; };
        const std::size_t before = used();
        const JsonHandle document = loadJson(text, error);
        ASSERT_NE(document, nullptr) << piece;
        const std::size_t bytes = used() - before;
        Tessara::Keepsafe::JsonBounds bounds;
        bounds.bytes = bytes;
        EXPECT_FALSE(isWithinBounds(text, error, bounds)) << piece << " needs more than is estimated";
        bounds.bytes = bytes * 2;
        EXPECT_TRUE(piece == "true" || isWithinBounds(text, error, bounds)) << piece << " is overestimated";
    }
}

} // namespace
} // namespace keepsafe_test
