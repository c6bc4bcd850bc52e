/// The documents that are received.

#include <boost/lexical_cast.hpp>

#include "RegistrationTest.h"
#include "support/SmallStackThread.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Pair;
using Service = DefaultObjectRegistrationService;

constexpr char EXTRACT[] = "DefaultObjectRegistrationService::extractRegisteredNamespaces";
constexpr char BULK_TAG[] = "DefaultObjectRegistrationService::extractBulkRegisteredNamespaces";

class Responses : public testing::Test {
protected:
    static int statusOf(const std::string& response)
    {
        return thrownStatus([&] { (void)Service::extractRegisteredNamespaces(response); });
    }

    static int bulkStatusOf(const std::string& response)
    {
        return thrownStatus([&] { (void)Service::extractBulkRegisteredNamespaces(response); });
    }

    /// Expects one line so far, under the tag, about a document that does not have its form.
    void expectParseError(const char* tag)
    {
        EXPECT_THAT(
            log_.lines(),
            ElementsAre(AllOf(Field(&LogLine::level, 16), Field(&LogLine::tag, tag),
                              Field(&LogLine::text, MatchesRegex("Error parsing JSON response at position "
                                                                 "-?[0-9]+: .+")))));
        log_.clear();
    }

    CapturedLog log_;
};

TEST_F(Responses, ARecordGivesItsNameAndTheNamesRegisteredWithItInOrder)
{
    EXPECT_THAT(Service::extractRegisteredNamespaces(
                    R"({"type":"x","id":"|A|b+c|","relationships":{"registeredObjects":{"data":[)"
                    R"({"id":"|A|b+c|","type":"y"},{"id":"|A|b+c|Z|"},{"id":"|A|b+c|D|"}]}}})"),
                Pair(ObjectNamespace("A", "b c"),
                     ElementsAre(ObjectNamespace("A", "b c"), ObjectNamespace("A", "b c", "Z"),
                                 ObjectNamespace("A", "b c", "D"))));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Responses, ARecordWithoutRelationshipsGivesAnEmptyList)
{
    EXPECT_THAT(Service::extractRegisteredNamespaces(R"({"id":"|A|"})"),
                Pair(ObjectNamespace("A"), IsEmpty()));
}

TEST_F(Responses, ARecordMayBeAValueOfTheCallers)
{
    const auto record = Tessara::Keepsafe::Rbac::json_loads_shared(R"({"id":"|A|"})");
    EXPECT_THAT(Service::extractRegisteredNamespaces(record.get()), Pair(ObjectNamespace("A"), IsEmpty()));
    EXPECT_EQ(record->refcount, 1U);
    EXPECT_EQ(thrownStatus([] { (void)Service::extractRegisteredNamespaces(nullptr); }), 9103);
    expectParseError(EXTRACT);
}

TEST_F(Responses, ARecordOfAnotherFormIs9103)
{
    for (const char* response :
         {"[]", "{}", R"({"id":1})", R"({"id":null})", R"({"data":{"id":"|A|"}})",
          R"({"id":"|A|","relationships":null})", R"({"id":"|A|","relationships":[]})",
          R"({"id":"|A|","relationships":{}})", R"({"id":"|A|","relationships":{"registeredObjects":[]}})",
          R"({"id":"|A|","relationships":{"registeredObjects":{}}})",
          R"({"id":"|A|","relationships":{"registeredObjects":{"data":[{}]}}})",
          R"({"id":"|A|","relationships":{"registeredObjects":{"data":[{"id":7}]}}})",
          R"({"id":"|A|","relationships":{"registeredObjects":{"data":[{"id":"|A|"},"|B|"]}}})"}) {
        SCOPED_TRACE(response);
        EXPECT_EQ(statusOf(response), 9103);
        expectParseError(EXTRACT);
    }
}

TEST_F(Responses, TheLineNamesThePlaceInARecord)
{
    EXPECT_EQ(statusOf(R"({"id":1})"), 9103);
    EXPECT_EQ(statusOf(R"({"id":"|A|","relationships":{"registeredObjects":{"data":[{}]}}})"), 9103);
    EXPECT_THAT(
        log_.lines(),
        ElementsAre(
            LogLine{16, EXTRACT, "Error parsing JSON response at position 4: Expected string, got integer"},
            LogLine{16, EXTRACT, "Error parsing JSON response at position 4: Object item not found: id"}));
}

TEST_F(Responses, RegisteredObjectsThatAreNoArrayAreARecordOfAnotherForm)
{
    EXPECT_EQ(statusOf(R"({"id":"|A|","relationships":{"registeredObjects":{"data":{}}}})"), 9103);
    EXPECT_EQ(bulkStatusOf(R"({"data":[{"id":"|A|","relationships":{"registeredObjects":{"data":3}}}]})"),
              9103);
    const std::string start = "Error parsing JSON response at position ";
    ASSERT_EQ(log_.lines().size(), 2U);
    EXPECT_EQ(log_.lines().at(0), (LogLine{16, EXTRACT, start + "1: Expected array, got object"}));
    EXPECT_EQ(log_.lines().at(1), (LogLine{16, EXTRACT, start + "1: Expected array, got integer"}));
}

TEST_F(Responses, ATextBehindTheDocumentIsNotJson)
{
    for (const std::string& behind :
         {std::string(1, '\0') + "behind", std::string(1, '\0'), std::string("x")}) {
        EXPECT_EQ(statusOf(R"({"id":"|A|"})" + behind), 7610);
        log_.clear();
        EXPECT_EQ(bulkStatusOf(R"({"data":[{"id":"|A|"}]})" + behind), 9103);
        expectParseError(BULK_TAG);
    }
}

TEST_F(Responses, OfMembersOfOneNameTheLastCounts)
{
    EXPECT_EQ(Service::extractRegisteredNamespaces(R"({"id":"|A|","id":"|B|"})").first, ObjectNamespace("B"));
}

TEST_F(Responses, AResponseThatIsNotJsonIs7610)
{
    EXPECT_EQ(statusOf("<html>"), 7610);
    EXPECT_EQ(statusOf(""), 7610);
    ASSERT_EQ(log_.lines().size(), 2U);
    EXPECT_EQ(log_.lines().at(0).level, 16);
    EXPECT_EQ(log_.lines().at(0).tag, "json_loads_shared");
    EXPECT_THAT(log_.lines().at(0).text, MatchesRegex("Error parsing JSON: .+"));
}

TEST_F(Responses, ATextThatIsNoNameIsABadCast)
{
    for (const char* response :
         {R"({"id":"A"})", R"({"id":""})", R"({"id":"|A"})", R"({"id":"|%zz|"})",
          R"({"id":"|A|","relationships":{"registeredObjects":{"data":[{"id":"B"}]}}})"}) {
        EXPECT_THROW((void)Service::extractRegisteredNamespaces(response), boost::bad_lexical_cast)
            << response;
    }
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Responses, ABulkResponseGivesAMapInTheOrderOfNames)
{
    EXPECT_THAT(Service::extractBulkRegisteredNamespaces(
                    R"({"meta":{},"data":[{"id":"|B|","relationships":{"registeredObjects":{"data":[)"
                    R"({"id":"|B|"},{"id":"|B|C|"}]}}},{"id":"|A|Z|"},{"id":"|A|"}]})"),
                ElementsAre(Pair(ObjectNamespace("A"), IsEmpty()), Pair(ObjectNamespace("A", "Z"), IsEmpty()),
                            Pair(ObjectNamespace("B"),
                                 ElementsAre(ObjectNamespace("B"), ObjectNamespace("B", "C")))));
    EXPECT_THAT(Service::extractBulkRegisteredNamespaces(R"({"data":[]})"), IsEmpty());
    EXPECT_THAT(log_.lines(), IsEmpty());
}

/// Answers as services write them are read in another way than those that are laid out otherwise.
TEST_F(Responses, HowABulkResponseIsLaidOutDoesNotCount)
{
    const std::string records =
        R"({"id":"|B|","relationships":{"registeredObjects":{"data":[{"id":"|B|"}]}}},)"
        R"({"id":"|A|"},{"id":"|B|"})";
    const auto expected = Service::extractBulkRegisteredNamespaces(R"({"data":[)" + records + "]}");
    EXPECT_THAT(expected, ElementsAre(Pair(ObjectNamespace("A"), IsEmpty()),
                                      Pair(ObjectNamespace("B"), ElementsAre(ObjectNamespace("B")))));
    for (const std::string& response :
         {R"( {"data":[)" + records + "]}", R"({"data": [)" + records + "]}",
          R"({"data":[ )" + records + "]}", R"({"data":[)" + records + " ]}",
          R"({"data":[)" + records + "] }\n", R"({"data":[)" + records + R"(],"x":1})",
          R"({"x":[],"data":[)" + records + "]}", R"({"data":[{"id":"|Z|"}],"data":[)" + records + "]}"}) {
        EXPECT_EQ(Service::extractBulkRegisteredNamespaces(response), expected) << response;
    }
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Responses, ABulkResponseThatIsNotJsonIsSoWhateverItsFirstRecordsAre)
{
    for (const char* response :
         {R"({"data":[{"id":"A"},)", R"({"data":[{"id":1}])", R"({"data":[{"id":"|A|"},]})",
          R"({"data":[{"id":"|A|"}]}})", R"({"data":[{"id":"|A|"}{"id":"|B|"}]})",
          R"({"data":[{"id":"|A|"}})", R"({"data":[{"id":"|A|"})"}) {
        SCOPED_TRACE(response);
        EXPECT_EQ(bulkStatusOf(response), 9103);
        expectParseError(BULK_TAG);
    }
}

TEST_F(Responses, OfBulkRecordsOfOneNameTheFirstCounts)
{
    EXPECT_THAT(Service::extractBulkRegisteredNamespaces(
                    R"({"data":[{"id":"|A|","relationships":{"registeredObjects":{"data":[{"id":"|1|"}]}}},)"
                    R"({"id":"|A|","relationships":{"registeredObjects":{"data":[{"id":"|2|"}]}}}]})"),
                ElementsAre(Pair(ObjectNamespace("A"), ElementsAre(ObjectNamespace("1")))));
}

TEST_F(Responses, ABulkResponseThatIsNotJsonOrHasNoDataIs9103)
{
    for (const char* response : {"", "<html>", "{\"data\":[", "{}", "[]", R"({"Data":[]})"}) {
        SCOPED_TRACE(response);
        EXPECT_EQ(bulkStatusOf(response), 9103);
        expectParseError(BULK_TAG);
    }
}

TEST_F(Responses, TheLineNamesThePlaceInTheBulkResponse)
{
    EXPECT_EQ(bulkStatusOf("{\"data\":x}"), 9103);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, BULK_TAG,
                                    "Error parsing JSON response at position 9: invalid token near 'x'"}));
}

TEST_F(Responses, BulkDataThatIsNoArrayIs9103)
{
    for (const char* response : {R"({"data":{}})", R"({"data":null})", R"({"data":"|A|"})"}) {
        log_.clear();
        EXPECT_EQ(bulkStatusOf(response), 9103) << response;
        EXPECT_THAT(
            log_.lines(),
            ElementsAre(LogLine{16, BULK_TAG, "Invalid bulk registration response. data is not an array"}));
    }
}

TEST_F(Responses, ABulkRecordOfAnotherFormIs9103AndNothingIsKept)
{
    EXPECT_EQ(bulkStatusOf(R"({"data":[{"id":"|A|"},{"id":3}]})"), 9103);
    expectParseError(EXTRACT);
    EXPECT_THROW((void)Service::extractBulkRegisteredNamespaces(R"({"data":[{"id":"A"}]})"),
                 boost::bad_lexical_cast);
}

TEST_F(Responses, ThatAreNestedDeepAreRefusedOnASmallStack)
{
    const std::string deep = std::string(2000, '[') + std::string(2000, ']');
    int single = 0;
    int bulk = 0;
    runOnSmallStack(
        [&] {
            single = statusOf(R"({"id":"|A|","x":)" + deep + "}");
            bulk = bulkStatusOf(R"({"data":[{"id":"|A|","x":)" + deep + "}]}");
        },
        64);
    EXPECT_EQ(single, 7610);
    EXPECT_EQ(bulk, 9103);
}

} // namespace
} // namespace keepsafe_test
