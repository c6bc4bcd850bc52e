/// Registering one object: every way through the workflow.

#include <keepsafe/platform/http/service_failures.h>
#include <keepsafe/platform/status/status_codes.h>

#include "FailedRequest.h"
#include "RegistrationTest.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::ServiceRefusal;
using Tessara::Keepsafe::TransferFailure;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ObjectRegistrationCallback;
using testing::ElementsAre;
using testing::IsEmpty;

using RegistrationWork = WorkCallback<ObjectRegistrationCallback>;

class RegisterTest : public RegistrationTest {
protected:
    int registerIt() { return service().registerObject(data_, callback_); }

    void respondPending() const
    {
        respond(201, R"({"id":"|A|","relationships":{"registeredObjects":{"data":)"
                     R"([{"id":"|A|"},{"id":"|A|C|"}]}}})");
    }

    static LogLine line(int level, const std::string& text) { return {level, tagOf("registerObject"), text}; }

    [[nodiscard]] std::vector<LogLine> lines() const { return linesOf("registerObject"); }

    static std::string registration()
    {
        return R"(object-registration-requests {"data":{"id":"|A|","type":"objectRegistrationData",)"
               R"("attributes":{"objectType":"POLICY","ignoreAlreadyRegistered":false,)"
               R"("accessControlAttributes":{},"relativeChildNamespaces":["|C|"]}}})";
    }

    static std::string update(const std::string& state)
    {
        return R"(bulk-object-update-requests {"data":{"type":"managedObjectUpdate","attributes":)"
               R"({"managedObjectsWithAttributes":[{"objectId":"|A|","state":")" +
               state + R"("},{"objectId":"|A|C|","state":")" + state + R"("}]}}})";
    }

    void expectNothingDone() const
    {
        EXPECT_THAT(scripted_->created, IsEmpty());
        EXPECT_EQ(callback_->invoked, 0);
        EXPECT_THAT(callback_->told, IsEmpty());
    }

    const boost::shared_ptr<ObjectRegistrationData> data_ = [] {
        auto data = dataOf(ObjectNamespace("A"));
        data->relativeChildNamespaces = {ObjectNamespace("C")};
        return data;
    }();
    const boost::shared_ptr<RegistrationWork> callback_ = boost::make_shared<RegistrationWork>();
};

TEST_F(RegisterTest, CommitsWhenTheCallbackSucceeds)
{
    respondPending();
    respond(201, "");
    callback_->work = [this] {
        EXPECT_THAT(sent(), ElementsAre(registration())) << "the object is pending while the callback works";
        return 0;
    };
    EXPECT_EQ(registerIt(), 0);
    EXPECT_EQ(callback_->invoked, 1);
    EXPECT_THAT(callback_->told, IsEmpty());
    EXPECT_THAT(sent(), ElementsAre(registration(), update("READY")));
    EXPECT_THAT(lines(), ElementsAre(line(2, "Callback success. Committing the object."),
                                     line(4, "Object successfully registered [|A|]")));
}

TEST_F(RegisterTest, RollsBackWhenTheCallbackFails)
{
    respondPending();
    respond(201, "");
    callback_->work = [] { return 1; };
    EXPECT_EQ(registerIt(), 8022);
    EXPECT_EQ(callback_->invoked, 1);
    EXPECT_THAT(callback_->told, IsEmpty());
    EXPECT_THAT(sent(), ElementsAre(registration(), update("DELETED")));
    EXPECT_THAT(lines(), ElementsAre(line(2, "Callback failed. Rolling back the object. callbackStatus=1"),
                                     line(16, "Object successfully rolled back [|A|]")));
}

TEST_F(RegisterTest, AnExceptionOfTheCallbackRollsBack)
{
    for (const CallbackFault& it : callbackFaults()) {
        SCOPED_TRACE(it.text);
        log_.clear();
        scripted_->requests.clear();
        respondPending();
        respond(201, "");
        callback_->work = it.work;
        EXPECT_EQ(registerIt(), 8022);
        EXPECT_THAT(sent(), ElementsAre(registration(), update("DELETED")));
        EXPECT_THAT(lines(), ElementsAre(line(16, "Callback threw " + it.text),
                                         line(2, "Callback failed. Rolling back the object. callbackStatus=" +
                                                     std::to_string(it.status)),
                                         line(16, "Object successfully rolled back [|A|]")));
    }
}

TEST_F(RegisterTest, MissingDataIs20BeforeAMissingCallback)
{
    const auto incomplete = boost::make_shared<ObjectRegistrationData>();
    EXPECT_EQ(service().registerObject(nullptr, callback_), 20);
    EXPECT_EQ(service().registerObject(incomplete, callback_), 20);
    EXPECT_EQ(service().registerObject(incomplete, nullptr), 20);
    const LogLine required = line(16, "ObjectRegistrationData and AccessControlAttributes are required");
    EXPECT_THAT(log_.lines(), ElementsAre(required, required, required));
    expectNothingDone();
}

TEST_F(RegisterTest, AMissingCallbackIs20)
{
    EXPECT_EQ(service().registerObject(data_, nullptr), 20);
    EXPECT_THAT(log_.lines(), ElementsAre(line(16, "ObjectRegistrationCallback is required")));
    expectNothingDone();
}

TEST_F(RegisterTest, TextThatCannotBeSentIs114)
{
    data_->objectType = "\xFF";
    EXPECT_EQ(registerIt(), 114);
    EXPECT_THAT(callback_->told, ElementsAre(114));
    EXPECT_THAT(scripted_->created, IsEmpty());
    EXPECT_THAT(lines(), ElementsAre(line(16, "Registration threw exception: std::bad_alloc")));
}

TEST_F(RegisterTest, AnAnswerThatCannotBeUnderstoodFailsTheFirstPhase)
{
    struct Case {
        std::string answer;
        int status;
        std::string text;
    };
    for (const Case& it :
         {Case{"[]", 9103, "Registration failed, status=9103"},
          Case{"nonsense", 7610, "Registration failed, status=7610"},
          Case{R"({"id":"A"})", 114,
               "Registration threw exception: bad lexical cast: source type value could not be interpreted "
               "as target"}}) {
        log_.clear();
        callback_->told.clear();
        respond(201, it.answer);
        EXPECT_EQ(registerIt(), it.status);
        EXPECT_THAT(callback_->told, ElementsAre(it.status));
        EXPECT_THAT(lines(), ElementsAre(line(16, it.text)));
    }
    EXPECT_EQ(callback_->invoked, 0);
}

TEST_F(RegisterTest, WithoutRelationshipsTheUpdateNamesNoObject)
{
    respond(201, R"({"id":"|A|"})");
    respond(201, "");
    EXPECT_EQ(registerIt(), 0);
    EXPECT_THAT(sent().at(1), testing::HasSubstr(R"("managedObjectsWithAttributes":[])"));
}

TEST_F(RegisterTest, TheCallbackMayUseTheService)
{
    respondPending();
    respond(201, "");
    respond(201, "");
    callback_->work = [this] {
        service().deleteObject(ObjectNamespace("OLD"));
        return 0;
    };
    EXPECT_EQ(registerIt(), 0);
    EXPECT_EQ(scripted_->requests.size(), 3U);
}

TEST_F(RegisterTest, TellsTheExceptionBehindItsStatus)
{
    std::exception_ptr cause;
    const auto rethrow = [&] {
        if (cause) {
            std::rethrow_exception(cause);
        }
    };
    respond(409, R"({"errorCode":5930,"errorMessage":"is there"})");
    EXPECT_EQ(service().registerObject(data_, callback_, cause), 5930);
    EXPECT_EQ(thrownBy<ServiceRefusal>(rethrow).message(), "is there");

    respondPending();
    scripted_->responses.push_back({7, 0, "", nullptr, "POST failed"});
    EXPECT_EQ(service().registerObject(data_, callback_, cause), 8024);
    EXPECT_EQ(thrownBy<TransferFailure>(rethrow).reason(), "POST failed");

    callback_->work = []() -> int { throw std::runtime_error("the callback's"); };
    respondPending();
    respond(201, "");
    EXPECT_EQ(service().registerObject(data_, callback_, cause), 8022);
    EXPECT_STREQ(thrownBy<std::runtime_error>(rethrow).what(), "the callback's");

    respondPending();
    respond(500, "");
    EXPECT_EQ(service().registerObject(data_, callback_, cause), 8025);
    EXPECT_EQ(thrownBy<ServiceRefusal>(rethrow).httpStatus(), 500);

    callback_->work = [] { return 1; };
    respondPending();
    respond(201, "");
    EXPECT_EQ(service().registerObject(data_, callback_, cause), 8022);
    EXPECT_EQ(cause, nullptr) << "nothing was thrown";
}

/// Each way in which a request fails, in each place.
class RegisterFaultTest : public RegisterTest, public testing::WithParamInterface<FailedRequest> {};

TEST_P(RegisterFaultTest, InTheFirstPhaseIsToldAndReturned)
{
    GetParam().play(*scripted_);
    EXPECT_EQ(registerIt(), GetParam().status);
    EXPECT_EQ(callback_->invoked, 0);
    EXPECT_THAT(callback_->told, ElementsAre(GetParam().status));
    EXPECT_EQ(scripted_->created.size(), 1U) << "nothing is asked twice";
    EXPECT_THAT(lines(),
                ElementsAre(line(
                    16, GetParam().choose("Registration failed, status=" + std::to_string(GetParam().status),
                                          "Registration threw exception: " + GetParam().text,
                                          "Registration threw unknown exception."))));
}

TEST_P(RegisterFaultTest, InTheCommitIs8024)
{
    respondPending();
    callback_->work = [this] {
        GetParam().play(*scripted_);
        return 0;
    };
    EXPECT_EQ(registerIt(), 8024);
    EXPECT_THAT(callback_->told, IsEmpty());
    const std::string failed = "Failed to commit [|A|]. ";
    const std::string exception = failed + "exception: " + GetParam().text;
    EXPECT_THAT(lines(), ElementsAre(line(2, "Callback success. Committing the object."),
                                     line(16, GetParam().choose(exception, exception,
                                                                failed + "Unknown exception thrown."))));
}

TEST_P(RegisterFaultTest, InTheRollbackIs8025)
{
    respondPending();
    callback_->work = [this] {
        GetParam().play(*scripted_);
        return 5;
    };
    EXPECT_EQ(registerIt(), 8025);
    EXPECT_THAT(callback_->told, IsEmpty());
    const std::string failed = "Failed to rollback [|A|]. ";
    const std::string exception = failed + "exception: " + GetParam().text;
    EXPECT_THAT(lines(), ElementsAre(line(2, "Callback failed. Rolling back the object. callbackStatus=5"),
                                     line(16, GetParam().choose(exception, exception,
                                                                failed + "Unknown exception thrown."))));
}

INSTANTIATE_TEST_SUITE_P(Each, RegisterFaultTest, testing::ValuesIn(allFailedRequests()), nameOf);

TEST_F(RegisterTest, AnExceptionOfNotifyFailureIsLoggedAndChangesNothing)
{
    struct Case {
        std::function<void()> onFailure;
        std::string text;
    };
    for (const Case& it : {Case{[] { throw EC_exception(20); }, "exception: " + getECmsg(20)},
                           Case{[] { throw std::runtime_error("why"); }, "exception: why"},
                           Case{[] { throw 0; }, "unknown exception."}}) {
        log_.clear();
        respond(409, R"({"errorCode":5930,"errorMessage":"is there"})");
        callback_->onFailure = it.onFailure;
        EXPECT_EQ(registerIt(), 5930);
        EXPECT_THAT(lines(), ElementsAre(line(16, "Registration failed, status=5930"),
                                         line(16, "notifyFailure threw " + it.text)));
    }
}

} // namespace
} // namespace keepsafe_test
