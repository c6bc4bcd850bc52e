#include <map>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "support/TempDir.h"

namespace {

/// All matches of a pattern with a number and a name.
std::map<std::string, std::string> codes(const std::string& file, const std::string& pattern,
                                         bool numberFirst)
{
    const std::string text = keepsafe_test::readFile(KEEPSAFE_SOURCE_DIR + file);
    const std::regex regex(pattern);
    std::map<std::string, std::string> result;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        result.emplace((*match)[numberFirst ? 1 : 2], (*match)[numberFirst ? 2 : 1]);
    }
    return result;
}

TEST(StatusDocument, NamesTheStatusesOfTheDatabaseLayer)
{
    const auto documented = codes("/docs/status_codes.md", R"(\| (\d+) \| `(STATUS_[A-Z0-9_]+)` \|)", true);
    EXPECT_EQ(documented, codes("/include/keepsafe/platform/dal/Dal.h",
                                R"(inline constexpr int (STATUS_[A-Z0-9_]+) = (\d+);)", false));
    EXPECT_EQ(documented.size(), 12U);
}

} // namespace
