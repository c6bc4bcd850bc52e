#include "resources/RequestTarget.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "accesscontrol/Refusal.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::idOf;
using keepsafe_service::namespaceOf;
using keepsafe_service::Refusal;
using keepsafe_service::RequestTarget;
using keepsafe_service::shown;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

const std::string PREFIX = "/keepsafe/access-control/";

/// Runs what must be refused and returns kind and message.
template <typename Call>
std::pair<Refusal::Kind, std::string> refusalOf(Call call)
{
    const auto refusal = thrownBy<Refusal>(call);
    return {refusal.kind(), refusal.what()};
}

using Told = std::pair<Refusal::Kind, std::string>;

TEST(RequestTarget, IsSplitBeforeItIsDecoded)
{
    const RequestTarget target =
        RequestTarget::parse(PREFIX + "managed-objects/%7Ca%2Fb%7C/access-definitions");
    EXPECT_EQ(target.segments, (std::vector<std::string>{"managed-objects", "|a/b|", "access-definitions"}));
    EXPECT_FALSE(target.query.has_value());
}

TEST(RequestTarget, KeepsTheNamesThatTheLibraryEncodes)
{
    // "A b" is written |A+b|, and the plus is encoded on the way.
    EXPECT_EQ(namespaceOf(RequestTarget::parse(PREFIX + "managed-objects/%7CA%2Bb%7C").segments[1]),
              ObjectNamespace("A b"));
}

TEST(RequestTarget, OutsideOfTheServiceIsUnknown)
{
    for (const char* path : {"", "/", "*", "/keepsafe/access-control", "/keepsafe/access-controls/roles",
                             "https://127.0.0.1/keepsafe/access-control/roles"}) {
        EXPECT_EQ(refusalOf([&] { (void)RequestTarget::parse(path); }),
                  Told(Refusal::Unknown, "there is no resource " + shown(path)));
    }
}

TEST(RequestTarget, WithABadEscapeIsMalformed)
{
    for (const char* segment : {"%", "%4", "%zz", "a%2"}) {
        EXPECT_EQ(refusalOf([&] { (void)RequestTarget::parse(PREFIX + segment); }),
                  Told(Refusal::Malformed,
                       "the request's target: a % without two hexadecimal digits in " + shown(segment)));
    }
}

TEST(RequestTarget, GivesTheFilterDecoded)
{
    const auto filterOf = [](const std::string& query) {
        return RequestTarget::parse(PREFIX + "roles" + query).filter();
    };
    EXPECT_EQ(filterOf("?filter=name%20eq%20%27a%3F%26b%27"), "name eq 'a?&b'");
    EXPECT_EQ(filterOf("?filter=a+b"), "a b");
    EXPECT_EQ(filterOf("?filter="), "");
    EXPECT_EQ(filterOf("?filter"), "");
    EXPECT_FALSE(filterOf("").has_value());
    EXPECT_FALSE(filterOf("?").has_value());
}

TEST(RequestTarget, RefusesQueriesThatItDoesNotKnow)
{
    const auto filterRefusal = [](const std::string& query) {
        return refusalOf([&] { (void)RequestTarget::parse(PREFIX + "roles?" + query).filter(); });
    };
    EXPECT_EQ(filterRefusal("sort=name"),
              Told(Refusal::Invalid, "the query parameter \"sort\" is not known"));
    EXPECT_EQ(filterRefusal("filter=a&"), Told(Refusal::Invalid, "the query parameter \"\" is not known"));
    EXPECT_EQ(filterRefusal("filter=a&filter=b"),
              Told(Refusal::Invalid, "the query parameter \"filter\" is given twice"));
    EXPECT_EQ(filterRefusal("filter=%").first, Refusal::Malformed);
    EXPECT_EQ(refusalOf([] { RequestTarget::parse(PREFIX + "roles/1?filter=a").expectNoQuery(); }),
              Told(Refusal::Invalid, "the resource takes no query, but \"filter=a\" is given"));
}

TEST(RequestTarget, SegmentThatIsNoNamespaceIsMalformed)
{
    for (const char* segment : {"", "A", "|A", "|A|%|", "A|"}) {
        EXPECT_EQ(refusalOf([&] { (void)namespaceOf(segment); }),
                  Told(Refusal::Malformed, shown(segment) + " in the request's target is not a namespace"));
    }
}

TEST(RequestTarget, IdIsADecimalNumberOf31Bits)
{
    EXPECT_EQ(idOf("0", "id"), 0);
    EXPECT_EQ(idOf("2147483647", "id"), 2147483647);
    for (const char* text :
         {"", "-", "-0", "-1", "+1", "00", "01", "12a", " 1", "1 ", "2147483648", "99999999999", "0x1"}) {
        EXPECT_EQ(refusalOf([&] { (void)idOf(text, "the id"); }),
                  Told(Refusal::Invalid, "the id: " + shown(text) +
                                             " is not the decimal text of a number from 0 to 2147483647"));
    }
}

TEST(RequestTarget, IsShownInAsciiAndShortened)
{
    EXPECT_EQ(shown(std::string("a\0\n\xC3\"", 5)), "\"a%00%0A%C3%22\"");
    EXPECT_EQ(shown(std::string(300, 'x')), "\"" + std::string(200, 'x') + "...");
}

} // namespace
} // namespace keepsafe_test
