#include <keepsafe/rbac/api/Rbac2Json.h>

#include <new>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>

#include <keepsafe/platform/status/EC_exception.h>

#include "support/CapturedLog.h"
#include "support/SmallStackThread.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::ElementsAre;
using testing::IsEmpty;
namespace rbac = Tessara::Keepsafe::Rbac;

std::string dump(const boost::shared_ptr<json_t>& value) { return rbac::json_dumps_shared(value).get(); }

TEST(Rbac2Json, DumpsCompactTextWithEverythingBeyondAsciiEscaped)
{
    EXPECT_EQ(dump(rbac::json_pack_shared("{s:[s,i]}", "k\xC3\xA9y", "\xE2\x82\xAC", 1)),
              R"({"k\u00E9y":["\u20AC",1]})");
}

TEST(Rbac2Json, AValueThatCannotBePrintedIsBadAllocAndNotLogged)
{
    const CapturedLog log;
    EXPECT_THROW(rbac::json_dumps_shared(rbac::json_string_shared("not an array or object")), std::bad_alloc);
    EXPECT_THROW(rbac::json_dumps_shared(boost::shared_ptr<json_t>()), std::bad_alloc);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Rbac2Json, ANewObjectIsAnEmptyArrayAsIsANewArray)
{
    EXPECT_EQ(dump(rbac::json_object_shared()), "[]");
    EXPECT_EQ(dump(rbac::json_array_shared()), "[]");
}

TEST(Rbac2Json, TextThatIsNotUtf8IsBadAllocAndNotLogged)
{
    EXPECT_STREQ(json_string_value(rbac::json_string_shared("a \"b\"").get()), "a \"b\"");
    const CapturedLog log;
    EXPECT_THROW(rbac::json_string_shared("\xFF"), std::bad_alloc);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Rbac2Json, LoadsADocumentAndReleasesItOnce)
{
    const boost::shared_ptr<json_t> document = rbac::json_loads_shared(R"({"data":[1]})");
    EXPECT_EQ(document->refcount, 1U);
    EXPECT_TRUE(json_is_array(json_object_get(document.get(), "data")));
}

TEST(Rbac2Json, TextThatIsNotJsonIs7610WithTheParsersReason)
{
    const CapturedLog log;
    EXPECT_EQ(thrownStatus([] { (void)rbac::json_loads_shared("no JSON"); }), 7610);
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, "json_loads_shared",
                                                 "Error parsing JSON: '[' or '{' expected near 'no'"}));
}

TEST(Rbac2Json, AValueThatCannotBePackedIsBadAllocWithItsReason)
{
    const CapturedLog log;
    EXPECT_THROW(rbac::json_pack_shared("{s:s}", "key", "\xFF"), std::bad_alloc);
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{16, "json_pack_shared", "Error generating JSON: Invalid UTF-8 string"}));
}

TEST(Rbac2Json, ANamespaceIsAStringOfItsTextForm)
{
    EXPECT_STREQ(json_string_value(rbac::json_namespace_shared(ObjectNamespace("A|B", "c d")).get()),
                 "|A%7CB|c+d|");
    EXPECT_STREQ(json_string_value(rbac::json_namespace_shared(ObjectNamespace()).get()), "|");
}

TEST(Rbac2Json, NamespacesAreAnArrayInTheirOrder)
{
    EXPECT_EQ(dump(rbac::json_namespaces_shared({ObjectNamespace("B"), ObjectNamespace("A")})),
              R"(["|B|","|A|"])");
    EXPECT_EQ(dump(rbac::json_namespaces_shared({})), "[]");
}

TEST(Rbac2Json, ADocumentIsTheWholeText)
{
    for (const std::string& text : {std::string("{} x"), std::string("{}\0", 3), std::string("{}\0x", 4),
                                    std::string("{\"a\":\"\0\"}", 9), std::string(R"({"a":"\u0000"})"),
                                    std::string("1"), std::string()}) {
        EXPECT_EQ(thrownStatus([&] { (void)rbac::json_loads_shared(text); }), 7610) << text;
    }
}

TEST(Rbac2Json, OfMembersOfOneNameTheLastCounts)
{
    EXPECT_EQ(dump(rbac::json_loads_shared(R"( {"a":1,"a":2} )")), R"({"a":2})");
}

TEST(Rbac2Json, AZeroByteIsBadAllocAndNotTheEndOfTheText)
{
    const CapturedLog log;
    EXPECT_THROW(rbac::json_string_shared(std::string("a\0b", 3)), std::bad_alloc);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Rbac2Json, TextThatIsNestedDeepIs7610OnASmallStack)
{
    const std::string text = std::string(2000, '[') + std::string(2000, ']');
    const CapturedLog log;
    int status = 0;
    runOnSmallStack([&] { status = thrownStatus([&] { (void)rbac::json_loads_shared(text); }); }, 64);
    EXPECT_EQ(status, 7610);
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{16, "json_loads_shared",
                                    "Error parsing JSON: more than 100 levels of arrays and objects"}));
}

} // namespace
} // namespace keepsafe_test
