#include <keepsafe/platform/status/status_codes.h>

#include <map>
#include <regex>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/TempDir.h"

namespace {

struct Row {
    std::string name;
    std::string text;
};

/// The rows "| 12 | `CACHE_UNUSABLE` | text | meaning |" of docs/status_codes.md.
std::map<int, Row> documentedCodes()
{
    const std::regex pattern(R"(\| (\d+) \| `([A-Z0-9_]+)` \| ([^|]+) \| [^|]+ \|)");
    std::map<int, Row> rows;
    std::istringstream document(keepsafe_test::readFile(KEEPSAFE_SOURCE_DIR "/docs/status_codes.md"));
    for (std::string line; std::getline(document, line);) {
        std::smatch match;
        if (std::regex_match(line, match, pattern)) {
            EXPECT_TRUE(rows.emplace(std::stoi(match[1]), Row{match[2], match[3]}).second) << line;
        }
    }
    return rows;
}

/// The rows "| 7 | text |" of the same document.
std::map<int, std::string> documentedTransfers()
{
    const std::regex pattern(R"(\| (\d+) \| ([^|]+) \|)");
    std::map<int, std::string> texts;
    std::istringstream document(keepsafe_test::readFile(KEEPSAFE_SOURCE_DIR "/docs/status_codes.md"));
    for (std::string line; std::getline(document, line);) {
        std::smatch match;
        if (std::regex_match(line, match, pattern)) {
            texts.emplace(std::stoi(match[1]), match[2]);
        }
    }
    return texts;
}

/// The constants of status_codes.h, number to name.
std::map<int, std::string> namedCodes()
{
    const std::regex pattern(R"(inline constexpr int ([A-Z0-9_]+) = (\d+);.*)");
    std::map<int, std::string> names;
    std::istringstream header(
        keepsafe_test::readFile(KEEPSAFE_SOURCE_DIR "/include/keepsafe/platform/status/status_codes.h"));
    for (std::string line; std::getline(header, line);) {
        std::smatch match;
        if (std::regex_match(line, match, pattern)) {
            names.emplace(std::stoi(match[2]), match[1]);
        }
    }
    return names;
}

TEST(StatusDocument, NamesExactlyTheConstantsOfTheHeader)
{
    std::map<int, std::string> documented;
    for (const auto& [code, row] : documentedCodes()) {
        documented.emplace(code, row.name);
    }
    EXPECT_EQ(documented, namedCodes());
    EXPECT_EQ(documented.size(), 20U);
}

TEST(StatusDocument, ShowsTheTextThatTheLibraryGives)
{
    for (const auto& [code, row] : documentedCodes()) {
        EXPECT_EQ(row.text, getECmsg(code)) << code;
    }
}

TEST(StatusDocument, LeavesOutNoCodeThatHasAText)
{
    const std::map<int, Row> documented = documentedCodes();
    const std::map<int, std::string> transfers = documentedTransfers();
    EXPECT_EQ(transfers.size(), 16U);
    for (const auto& [code, text] : transfers) {
        EXPECT_EQ(text, getECmsg(code)) << code;
    }
    for (int code = -1000; code <= 10000; ++code) {
        const std::string number = std::to_string(code);
        const std::string text = getECmsg(code);
        const bool known = text != "status " + number + " has no message text" &&
                           text != "a request to a server failed with transfer status " + number;
        EXPECT_EQ(known, documented.count(code) + transfers.count(code) != 0) << code;
    }
}

} // namespace
