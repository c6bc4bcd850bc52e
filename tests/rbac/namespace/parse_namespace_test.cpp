#include <keepsafe/rbac/namespace/parse_namespace.h>

#include <string>
#include <vector>

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::Rbac::NamespaceFault;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::parseNamespace;

std::string faultOf(const std::string& text)
{
    NamespaceFault fault;
    EXPECT_FALSE(parseNamespace(text, fault).has_value()) << text;
    return std::to_string(fault.position) + ": " + fault.reason;
}

TEST(ParseNamespace, GivesTheNamespaceAndLeavesTheFault)
{
    NamespaceFault fault{7, "before"};
    EXPECT_EQ(parseNamespace("|A|b%7Cc+d|", fault).value(), ObjectNamespace("A", "b|c d"));
    EXPECT_TRUE(parseNamespace("|", fault).value().is_root());
    EXPECT_EQ(fault.position, 7U);
    EXPECT_EQ(fault.reason, "before");
}

TEST(ParseNamespace, SaysWhereATextIsNone)
{
    EXPECT_EQ(faultOf(""), "0: it does not start with '|'");
    EXPECT_EQ(faultOf(" |A|"), "0: it does not start with '|'");
    EXPECT_EQ(faultOf("A|"), "0: it does not start with '|'");
    EXPECT_EQ(faultOf("|A"), "2: it does not end with '|'");
    EXPECT_EQ(faultOf("|A|\r"), "4: it does not end with '|'");
    EXPECT_EQ(faultOf("|A%41%4|"), "5: '%' is not followed by two hexadecimal digits");
    EXPECT_EQ(faultOf("|A%e9%fF"), "8: it does not end with '|'");
    EXPECT_EQ(faultOf("|A%4g|"), "2: '%' is not followed by two hexadecimal digits");
    EXPECT_EQ(faultOf("|%|A|"), "1: '%' is not followed by two hexadecimal digits");
    EXPECT_EQ(faultOf("|A%"), "2: '%' is not followed by two hexadecimal digits");
}

TEST(ParseNamespace, TakesTheSameTextsAsACast)
{
    std::vector<std::string> texts = {""};
    for (std::size_t at = 0; at < texts.size() && texts[at].size() < 5; ++at) {
        for (const char next : {'|', 'A', '%', '4', '+', ' ', '\n', '\0'}) {
            texts.push_back(texts[at] + next);
        }
    }
    for (const std::string& text : texts) {
        NamespaceFault fault;
        const boost::optional<ObjectNamespace> parsed = parseNamespace(text, fault);
        ObjectNamespace cast;
        ASSERT_EQ(parsed.has_value(), boost::conversion::try_lexical_convert(text, cast)) << text;
        ASSERT_EQ(parsed ? *parsed : cast, cast) << text;
        ASSERT_EQ(parsed.has_value(), fault.reason.empty()) << text;
        ASSERT_LE(fault.position, text.size()) << text;
    }
}

} // namespace
