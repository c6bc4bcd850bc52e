#include "NamespaceReader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <boost/optional.hpp>
#include <boost/optional/optional_io.hpp>

#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::NamespaceReader;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

template <typename Read>
boost::optional<ObjectNamespace> ifRead(const Read& read)
{
    try {
        return read();
    } catch (const boost::bad_lexical_cast&) {
        return boost::none;
    }
}

std::vector<std::string> everyText(const std::string& characters, std::size_t longest)
{
    std::vector<std::string> texts = {""};
    for (std::size_t i = 0; texts[i].size() < longest; ++i) {
        for (const char character : characters) {
            texts.push_back(texts[i] + character);
        }
    }
    return texts;
}

TEST(NamespaceReader, TakesEveryTextAsALexicalCastDoesWhateverItReadBefore)
{
    NamespaceReader reader;
    int names = 0;
    for (const std::string& text : everyText("|A%4 ", 6)) {
        const auto expected = ifRead([&] { return boost::lexical_cast<ObjectNamespace>(text.c_str()); });
        ASSERT_EQ(ifRead([&] { return reader.read(text.c_str()); }), expected) << text;
        names += expected ? 1 : 0;
    }
    EXPECT_GT(names, 100);
}

TEST(NamespaceReader, SaysAsALexicalCastDoesThatATextIsNone)
{
    EXPECT_STREQ(thrownBy<boost::bad_lexical_cast>([] { (void)NamespaceReader().read("A"); }).what(),
                 boost::bad_lexical_cast().what());
}

} // namespace
} // namespace keepsafe_test
