#include <keepsafe/rbac/api/Operations.h>

#include <boost/lexical_cast.hpp>

#include "rbac/api/ScriptedService.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationAPI;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char TAG[] = "OperationAPI::get_options"; // named after another operation, as ever

class OperationApiTest : public ApiTest<OperationAPI> {
protected:
    std::list<ObjectNamespace> receive(const std::string& body)
    {
        respond(200, body);
        return api().get_operations("");
    }

    int statusOf(const std::string& body)
    {
        return thrownStatus([&] { (void)receive(body); });
    }
};

TEST_F(OperationApiTest, ListsOperationsInTheServicesOrder)
{
    const std::string body = R"({"data":[{"type":"accessControlOperation","id":"|OPERATIONS|VIEW|","x":1},)"
                             R"({"type":"accessControlOperation","id":"|OPERATIONS|ADD|"}],"meta":{}})";
    EXPECT_THAT(receive(body),
                ElementsAre(ObjectNamespace("OPERATIONS", "VIEW"), ObjectNamespace("OPERATIONS", "ADD")));
    EXPECT_THAT(service_->requests, ElementsAre(Request{"GET", "keepsafe/access-control/operations", ""}));
    EXPECT_THAT(
        log_.lines(),
        ElementsAre(
            LogLine{4, TAG, "Request for keepsafe/access-control/operations; curl status 0; http status 200"},
            LogLine{2, TAG, "Received JSON: " + body}));
}

TEST_F(OperationApiTest, EncodesTheFilter)
{
    respond(200, R"({"data":[]})");
    EXPECT_THAT(api().get_operations("name eq 'a=b'"), IsEmpty());
    EXPECT_EQ(service_->requests.at(0).path,
              "keepsafe/access-control/operations?filter=name%20eq%20%27a%3Db%27");
}

TEST_F(OperationApiTest, DataThatIsNoArrayIsAnEmptyList)
{
    EXPECT_THAT(receive(R"({"data":{}})"), IsEmpty());
}

TEST_F(OperationApiTest, AResponseWithoutDataOrThatIsNotJsonIs7610)
{
    EXPECT_EQ(statusOf("{}"), 7610);
    EXPECT_EQ(statusOf("no JSON"), 7610);
    const LogLine line{16, TAG, "Error getting 'data' field from JSON response"};
    EXPECT_THAT(log_.lines(16), ElementsAre(line, line));
}

TEST_F(OperationApiTest, AnElementOfAnotherFormIs7610)
{
    EXPECT_EQ(statusOf(R"({"data":[{"type":"accessControlOperation"}]})"), 7610);
    EXPECT_EQ(statusOf(R"({"data":[{"type":"accessControlOperation","id":1}]})"), 7610);
    EXPECT_THAT(
        log_.lines(16),
        ElementsAre(LogLine{16, TAG, "Error parsing JSON at position 9: Object item not found: id"},
                    LogLine{16, TAG, "Error parsing JSON at position 9: Expected string, got integer"}));
}

TEST_F(OperationApiTest, OneBadElementIsNoList)
{
    EXPECT_EQ(statusOf(R"({"data":[{"type":"accessControlOperation","id":"|O|"},{}]})"), 7610);
}

TEST_F(OperationApiTest, AnElementOfAnotherTypeIs9103)
{
    EXPECT_EQ(statusOf(R"({"data":[{"type":"accessControlRole","id":"O"}]})"), 9103)
        << "before anything is made of the id";
    EXPECT_THAT(log_.lines(16), ElementsAre(LogLine{16, TAG, "Unexpected response type: accessControlRole"}));
}

TEST_F(OperationApiTest, AnIdThatIsNoNamespaceIsABadCast)
{
    EXPECT_THROW(receive(R"({"data":[{"type":"accessControlOperation","id":"O"}]})"),
                 boost::bad_lexical_cast);
    EXPECT_THAT(log_.lines(16), IsEmpty());
}

TEST_F(OperationApiTest, AnyStatusBut200IsAnError)
{
    respond(403, R"({"errorCode":5930,"errorMessage":"forbidden"})");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_operations(""); }), 5930);
    const std::string request = "Request for keepsafe/access-control/operations; curl status 0; http status ";
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{4, TAG, request + "403"},
                                          LogLine{16, TAG, "Unexpected HTTP status: 403: forbidden"}));
    log_.clear();
    respond(201, R"({"data":[]})");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_operations(""); }), 114);
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{4, TAG, request + "201"},
                                          LogLine{16, TAG, "Unexpected HTTP status: 201"}));
}

TEST_F(OperationApiTest, AFailedTransferIsItsStatusAndNotLogged)
{
    service_->responses.push_back({7, 0, ""});
    EXPECT_EQ(thrownStatus([this] { (void)api().get_operations(""); }), 7);
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(OperationApiTest, TheTypeIsComparedExactly)
{
    for (const char* type :
         {"accessControlOperatio", "accessControlOperations", "AccessControlOperation", ""}) {
        EXPECT_EQ(statusOf(R"({"data":[{"type":")" + std::string(type) + R"(","id":"|A|"}]})"), 9103) << type;
    }
}

} // namespace
} // namespace keepsafe_test
