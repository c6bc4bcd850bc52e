#include "io/read_document.h"

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "exit_status.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using ksrbac::InputError;
using ksrbac::readDocument;

constexpr ksrbac::DocumentLimit LIMIT{1000, "1000 bytes"};

class ReadDocument : public testing::Test {
protected:
    std::string faultOf(const std::string& text)
    {
        writeFile(path_, text);
        return thrownBy<InputError>([this] {
                   readDocument(path_, LIMIT, [](json_t* /*document*/) { throw InputError("x: not a y"); });
               })
            .what();
    }

    const TempDir folder_;
    const std::string path_ = folder_.path("document.json");
};

TEST_F(ReadDocument, GivesTheWholeDocumentOnce)
{
    writeFile(path_, "[1, 2, 3]");
    std::size_t items = 0;
    readDocument(path_, LIMIT, [&items](json_t* document) { items += json_array_size(document); });
    EXPECT_EQ(items, 3);
}

TEST_F(ReadDocument, NamesTheInputOfEveryFault)
{
    EXPECT_EQ(faultOf("{}"), path_ + ": x: not a y");
    EXPECT_EQ(faultOf("[\n 1 2]"), path_ + ": line 2, column 4: ']' expected near '2'");
    EXPECT_EQ(faultOf(std::string(1000, ' ') + "1"), path_ + ": more than 1000 bytes");
    EXPECT_EQ(faultOf(std::string(101, '[')),
              path_ + ": line 1, column 101: more than 100 levels of arrays and objects");
}

TEST_F(ReadDocument, RefusesAMemberThatIsGivenTwice)
{
    EXPECT_EQ(faultOf(R"({"a": 1, "a": 2})"),
              path_ + ": line 1, column 12: duplicate object key near '\"a\"'");
}

} // namespace
} // namespace keepsafe_test
