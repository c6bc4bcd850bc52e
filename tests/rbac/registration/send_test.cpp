/// One request of the registration service, and what is made of its answer.

#include "RegistrationTest.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService;
using Tessara::Keepsafe::Rbac::DELETED;
using Tessara::Keepsafe::Rbac::HTTP_REQUEST_DELETE;
using Tessara::Keepsafe::Rbac::HTTP_REQUEST_PATCH;
using Tessara::Keepsafe::Rbac::HTTP_REQUEST_POST;
using Tessara::Keepsafe::Rbac::HttpRequestType;
using Tessara::Keepsafe::Rbac::ManagedObjectState;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::PENDING;
using Tessara::Keepsafe::Rbac::READY;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Service = DefaultObjectRegistrationService;

constexpr char SEND[] = "DefaultObjectRegistrationService::sendHttpRequest";

class SendTest : public RegistrationTest {
protected:
    int send(HttpRequestType type)
    {
        return thrownStatus([&] { service().sendHttpRequest(type, "some/path", "the body", response_); });
    }

    int sendAndReceive(HttpRequestType type, int transfer, long httpStatus, const std::string& body)
    {
        scripted_->responses.push_back({transfer, httpStatus, body});
        return send(type);
    }

    [[nodiscard]] std::vector<LogLine> errors() const { return log_.lines(16); }

    std::string response_ = "before";
};

TEST_F(SendTest, APostAnsweredBy201GivesTheBody)
{
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_POST, 0, 201, "the answer"), 0);
    EXPECT_EQ(response_, "the answer");
    EXPECT_THAT(scripted_->requests, ElementsAre(Request{"POST", "some/path", "the body"}));
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{4, SEND, "Send request type 2 to URL some/path"},
                                          LogLine{4, SEND, "Request payload: the body"}));
}

TEST_F(SendTest, APatchAndADeleteAreAnsweredBy204)
{
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_PATCH, 0, 204, ""), 0);
    EXPECT_EQ(response_, "");
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_DELETE, 0, 204, "kept"), 0);
    EXPECT_EQ(response_, "kept");
    EXPECT_THAT(scripted_->requests,
                ElementsAre(Request{"PATCH", "some/path", "the body"}, Request{"DELETE", "some/path", ""}));
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{4, SEND, "Send request type 4 to URL some/path"},
                                          LogLine{4, SEND, "Request payload: the body"},
                                          LogLine{4, SEND, "Send request type 3 to URL some/path"},
                                          LogLine{4, SEND, "Request payload: the body"}));
}

TEST_F(SendTest, TheResponseMayBeDiscarded)
{
    respond(201, "unread");
    service().sendHttpRequest(HTTP_REQUEST_POST, "p", "b");
    EXPECT_THAT(scripted_->requests, ElementsAre(Request{"POST", "p", "b"}));
}

TEST_F(SendTest, EveryRequestHasAClientOfItsOwnWithTheNewestVersion)
{
    respond(201, "");
    respond(201, "");
    DefaultObjectRegistrationService onAnotherPort(8443, scripted_);
    onAnotherPort.sendHttpRequest(HTTP_REQUEST_POST, "p", "b");
    service().sendHttpRequest(HTTP_REQUEST_POST, "p", "b");
    EXPECT_THAT(scripted_->created, ElementsAre("master.example:8443 kind 1", "master.example:1556 kind 1"));
    EXPECT_THAT(scripted_->apiVersions, ElementsAre(MAX_VERSION, MAX_VERSION));
}

TEST_F(SendTest, AFailedTransferIsItsStatus)
{
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_POST, 7, 201, "unread"), 7);
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_PATCH, 28, 204, "unread"), 28);
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_DELETE, 56, 204, "unread"), 56);
    EXPECT_EQ(response_, "before");
    EXPECT_THAT(
        errors(),
        ElementsAre(
            LogLine{16, SEND,
                    "Failed to send the POST object register request(some/path). CURL request failed. "
                    "error  = 7"},
            LogLine{16, SEND,
                    "Failed to send the PATCH object unregister request(some/path). CURL request failed. "
                    "error  = 28"},
            LogLine{
                16, SEND,
                "Failed to send the DELETE object request(some/path). CURL request failed. error  = 56"}));
}

TEST_F(SendTest, ARefusalIsTheServersCode)
{
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_POST, 0, 409, R"({"errorCode":5930,"errorMessage":"is there"})"),
              5930);
    EXPECT_EQ(response_, "before");
    EXPECT_THAT(errors(), ElementsAre(LogLine{16, SEND,
                                              "Failed to register object. HTTP response code = 409. "
                                              "error = 5930"}));
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_DELETE, 0, 201, R"({"errorCode":5931,"errorMessage":"gone"})"),
              5931);
    EXPECT_EQ(errors().back(),
              (LogLine{16, SEND, "Failed to register object. HTTP response code = 201. error = 5931"}));
}

TEST_F(SendTest, ARefusalThatCannotBeReadIs9103)
{
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_POST, 0, 502, "<html>"), 9103);
    EXPECT_THAT(errors(), ElementsAre(LogLine{16, SEND,
                                              "Failed to parse error from JSON response. HTTP response "
                                              "code = 502. parse error = 7610"}));
}

TEST_F(SendTest, OnlyTheExpectedStatusIsSuccess)
{
    for (const long status : {200L, 202L, 204L, 0L, -1L}) {
        EXPECT_EQ(sendAndReceive(HTTP_REQUEST_POST, 0, status, "{}"), 9103) << status;
        EXPECT_EQ(errors().back(),
                  (LogLine{16, SEND,
                           "Failed to parse error from JSON response. HTTP response code = " +
                               std::to_string(status) + ". parse error = 7610"}));
    }
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_PATCH, 0, 200, "{}"), 9103);
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_DELETE, 0, 201, "{}"), 9103);
    EXPECT_EQ(response_, "before");
}

TEST_F(SendTest, AnyOtherTypeSendsNothingAndFails)
{
    for (const int type : {0, 1, 5, -1}) {
        log_.clear();
        EXPECT_EQ(send(static_cast<HttpRequestType>(type)), 9103);
        EXPECT_THAT(
            log_.lines(),
            ElementsAre(LogLine{4, SEND, "Send request type " + std::to_string(type) + " to URL some/path"},
                        LogLine{4, SEND, "Request payload: the body"},
                        LogLine{16, SEND,
                                "Failed to parse error from JSON response. HTTP response code = 0. "
                                "parse error = 7610"}));
    }
    EXPECT_THAT(scripted_->requests, IsEmpty());
}

TEST_F(SendTest, WithoutAClientNothingIsSent)
{
    scripted_->onCreate = []() -> KSClientCURL_Base* { return nullptr; };
    EXPECT_EQ(send(HTTP_REQUEST_POST), 114);
    DefaultObjectRegistrationService withoutFactory(1556, nullptr);
    EXPECT_EQ(thrownStatus([&] { withoutFactory.sendHttpRequest(HTTP_REQUEST_POST, "p", "b"); }), 114);
    const LogLine line{16, SEND, "There is no HTTP client for master.example"};
    EXPECT_THAT(log_.lines(), ElementsAre(line, line));
}

TEST_F(SendTest, TheServiceCannotBeMadeWithoutAMasterServer)
{
    writeFile(root_.path("etc/keepsafe.toml"), "");
    EXPECT_EQ(thrownStatus([&] { (void)service(); }), 114);
    EXPECT_EQ(thrownStatus([] { DefaultObjectRegistrationService{}; }), 114);
    const LogLine line{16, "DefaultObjectRegistrationService::DefaultObjectRegistrationService",
                       "Couldn't get master server: 114"};
    EXPECT_THAT(log_.lines(), ElementsAre(line, line));
}

TEST_F(SendTest, TheDefaultServiceAsksTheMasterServerItself)
{
    writeFile(root_.path("etc/keepsafe.toml"), "master_server = \"127.255.255.254\"\n");
    const DefaultObjectRegistrationService real;
    EXPECT_NE(thrownStatus([&] { real.sendHttpRequest(HTTP_REQUEST_POST, "p", "b"); }), 0);
    EXPECT_THAT(scripted_->created, IsEmpty());
}

TEST_F(SendTest, TheUrisAreThoseOfTheService)
{
    EXPECT_EQ(Service::OBJECT_REGISTRATION_URI, "keepsafe/access-control/object-registration-requests");
    EXPECT_EQ(Service::BULK_OBJECT_REGISTRATION_URI,
              "keepsafe/access-control/bulk-object-registration-requests");
    EXPECT_EQ(Service::BULK_OBJECT_UPDATE_URI, "keepsafe/access-control/bulk-object-update-requests");
    EXPECT_EQ(Service::MANAGED_OBJECT_URI, "keepsafe/access-control/managed-objects");
}

TEST_F(SendTest, TheStatesHaveTheirNumbersAndNames)
{
    namespace rbac = Tessara::Keepsafe::Rbac;
    EXPECT_THAT((std::vector<int>{READY, PENDING, DELETED}), ElementsAre(0, 1, 2));
    EXPECT_STREQ(rbac::READY_STR, "READY");
    EXPECT_STREQ(rbac::PENDING_STR, "PENDING");
    EXPECT_STREQ(rbac::DELETED_STR, "DELETED");
}

using StateUpdateTest = SendTest;

TEST_F(StateUpdateTest, SendsReadyBeforeDeletedAndCountsThem)
{
    respond(201, "not JSON, not read");
    service().bulkUpdateObjectState({ObjectNamespace("Z")}, {}, {ObjectNamespace("A"), ObjectNamespace("B")});
    EXPECT_THAT(scripted_->requests,
                ElementsAre(Request{
                    "POST", "keepsafe/access-control/bulk-object-update-requests",
                    R"({"data":{"type":"managedObjectUpdate","attributes":{"managedObjectsWithAttributes":[)"
                    R"({"objectId":"|Z|","state":"READY"},{"objectId":"|A|","state":"DELETED"},)"
                    R"({"objectId":"|B|","state":"DELETED"}]}}})"}));
    EXPECT_THAT(linesOf("bulkUpdateObjectState"),
                ElementsAre(LogLine{4, tagOf("bulkUpdateObjectState"),
                                    "Updating object state. ready=1, pending=0, deleted=2"}));
}

TEST_F(StateUpdateTest, ChangesOneObjectToEachState)
{
    for (int i = 0; i < 4; ++i) {
        respond(201, "");
    }
    const ObjectNamespace object("A");
    service().changeObjectState(object, READY);
    service().changeObjectState(object, PENDING);
    service().changeObjectState(object, DELETED);
    service().deleteObject(object);
    const std::string start = R"(bulk-object-update-requests {"data":{"type":"managedObjectUpdate",)"
                              R"("attributes":{"managedObjectsWithAttributes":[{"objectId":"|A|","state":")";
    EXPECT_THAT(sent(), ElementsAre(start + R"(READY"}]}}})", start + R"(PENDING"}]}}})",
                                    start + R"(DELETED"}]}}})", start + R"(DELETED"}]}}})"));
}

TEST_F(StateUpdateTest, AnUnknownStateIs20AndSendsNothing)
{
    EXPECT_EQ(thrownStatus([&] {
                  service().changeObjectState(ObjectNamespace("A"), static_cast<ManagedObjectState>(3));
              }),
              20);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, tagOf("changeObjectState"), "Unknown object state, 3"}));
    EXPECT_THAT(scripted_->created, IsEmpty());
}

TEST_F(StateUpdateTest, PassesFailuresOn)
{
    respond(409, R"({"errorCode":5931,"errorMessage":"gone"})");
    EXPECT_EQ(thrownStatus([&] { service().deleteObject(ObjectNamespace("A")); }), 5931);
}

TEST_F(StateUpdateTest, TheFirstPhaseAloneGivesWhatWasRegistered)
{
    respond(201, R"({"id":"|A|","relationships":{"registeredObjects":{"data":[{"id":"|A|"}]}}})");
    respond(201, R"({"data":[{"id":"|A|"}]})");
    EXPECT_THAT(service().registerObjectWithStatePending(dataOf(ObjectNamespace("A"))),
                Pair(ObjectNamespace("A"), ElementsAre(ObjectNamespace("A"))));
    EXPECT_THAT(service().bulkRegisterObjectsWithStatePending({dataOf(ObjectNamespace("A"))}),
                ElementsAre(Pair(ObjectNamespace("A"), IsEmpty())));
    EXPECT_EQ(scripted_->requests.at(0).path, "keepsafe/access-control/object-registration-requests");
    EXPECT_EQ(scripted_->requests.at(1).path, "keepsafe/access-control/bulk-object-registration-requests");
}

// The fields keep their places: the table of operations, the port, the server's name, the factory.
static_assert(sizeof(DefaultObjectRegistrationService) ==
              sizeof(void*) + sizeof(long) + sizeof(std::string) +
                  sizeof(boost::shared_ptr<KSClientCURL_BaseFactory>));

TEST_F(SendTest, EveryTypeOfRequestHasTheNewestVersion)
{
    for (const HttpRequestType type : {HTTP_REQUEST_PATCH, HTTP_REQUEST_DELETE}) {
        EXPECT_EQ(sendAndReceive(type, 0, 204, ""), 0);
    }
    EXPECT_THAT(scripted_->apiVersions, ElementsAre(MAX_VERSION, MAX_VERSION));
}

TEST_F(SendTest, AnErrorDocumentIsReadWhateverItsMessageAndOtherMembersAre)
{
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_POST, 0, 409, R"({"errorCode":5930,"errorMessage":"","x":[1]})"),
              5930);
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_POST, 0, 409, R"({"errorCode":-3,"errorMessage":"m"})"), -3);
    EXPECT_EQ(errors().at(0).text, "Failed to register object. HTTP response code = 409. error = 5930");
    EXPECT_EQ(errors().at(1).text, "Failed to register object. HTTP response code = 409. error = -3");
}

TEST_F(SendTest, AnErrorOfCode0IsOneThatCannotBeRead)
{
    EXPECT_EQ(sendAndReceive(HTTP_REQUEST_POST, 0, 500, R"({"errorCode":0,"errorMessage":"fine"})"), 9103);
    EXPECT_THAT(errors(), ElementsAre(LogLine{16, SEND,
                                              "Failed to parse error from JSON response. HTTP response "
                                              "code = 500. parse error = 7610"}));
}

TEST_F(StateUpdateTest, IsToldBeforeItIsSent)
{
    scripted_->onCreate = [this]() -> KSClientCURL_Base* {
        EXPECT_THAT(log_.lines(),
                    ElementsAre(LogLine{4, tagOf("bulkUpdateObjectState"),
                                        "Updating object state. ready=0, pending=1, deleted=0"}));
        throw EC_exception(31);
    };
    EXPECT_EQ(thrownStatus([this] { service().changeObjectState(ObjectNamespace("A"), PENDING); }), 31);
}

} // namespace
} // namespace keepsafe_test
