/// Registering many objects: every way through the workflow.

#include <keepsafe/platform/http/service_failures.h>

#include "FailedRequest.h"
#include "RegistrationTest.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::ServiceRefusal;
using Tessara::Keepsafe::TransferFailure;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::ElementsAre;
using testing::IsEmpty;

using Successful = std::set<ObjectNamespace>;

class BulkTest : public RegistrationTest {
protected:
    int registerAll() { return service().bulkRegisterObjects(data_, callback_); }

    /// B comes before A, with a child; the map puts A first.
    void respondPending() const
    {
        respond(201, R"({"data":[{"id":"|B|","relationships":{"registeredObjects":{"data":)"
                     R"([{"id":"|B|"},{"id":"|B|C|"}]}}},)"
                     R"({"id":"|A|","relationships":{"registeredObjects":{"data":[{"id":"|A|"}]}}}]})");
    }

    static LogLine line(int level, const std::string& text)
    {
        return {level, tagOf("bulkRegisterObjects"), text};
    }

    [[nodiscard]] std::vector<LogLine> lines() const { return linesOf("bulkRegisterObjects"); }

    /// The first request, and an update with these records.
    static std::string registration()
    {
        const std::string attributes = R"("type":"objectRegistrationData","attributes":{"objectType":)"
                                       R"("POLICY","ignoreAlreadyRegistered":false,)"
                                       R"("accessControlAttributes":{},"relativeChildNamespaces":[]}})";
        return R"(bulk-object-registration-requests {"data":[{"id":"|B|",)" + attributes +
               R"(,{"id":"|A|",)" + attributes + "]}";
    }

    static std::string record(const std::string& object, const std::string& state)
    {
        return R"({"objectId":")" + object + R"(","state":")" + state + R"("})";
    }

    static std::string update(const std::string& records)
    {
        return R"(bulk-object-update-requests {"data":{"type":"managedObjectUpdate","attributes":)"
               R"({"managedObjectsWithAttributes":[)" +
               records + "]}}}";
    }

    void doThe(const Successful& successful) const
    {
        callback_->work = [successful](Successful& result) {
            result = successful;
            return 0;
        };
    }

    void expectNothingDone() const
    {
        EXPECT_THAT(scripted_->created, IsEmpty());
        EXPECT_EQ(callback_->invoked, 0);
        EXPECT_THAT(callback_->told, IsEmpty());
    }

    const ObjectNamespace a_{"A"};
    const ObjectNamespace b_{"B"};
    DefaultObjectRegistrationService::DataList data_{dataOf(b_), dataOf(a_)};
    const boost::shared_ptr<BulkWorkCallback> callback_ = boost::make_shared<BulkWorkCallback>();
    const std::string deleted_ =
        update(record("|A|", "DELETED") + ',' + record("|B|", "DELETED") + ',' + record("|B|C|", "DELETED"));
    const LogLine begun_ = line(4, "Registering 2 objects");
    const LogLine pending_ = line(2, "Successfully registered the objects in PENDING state.");
    const LogLine success_ = line(2, "Callback success. Committing objects.");
    const LogLine updated_ = line(2, "Successfully updated object states.");

    static LogLine partly(const std::string& counts)
    {
        return line(16, "Callback failed. " + counts + ". Committing successful, rolling back failed.");
    }
};

TEST_F(BulkTest, CommitsAllWhenAllSucceed)
{
    respondPending();
    respond(201, "");
    callback_->work = [this](Successful& successful) {
        EXPECT_THAT(sent(), ElementsAre(registration()))
            << "the objects are pending while the callback works";
        successful = {a_, b_};
        return 0;
    };
    EXPECT_EQ(registerAll(), 0);
    EXPECT_EQ(callback_->invoked, 1);
    EXPECT_TRUE(callback_->foundEmpty);
    EXPECT_THAT(callback_->told, IsEmpty());
    EXPECT_THAT(sent(),
                ElementsAre(registration(), update(record("|A|", "READY") + ',' + record("|B|", "READY") +
                                                   ',' + record("|B|C|", "READY"))));
    EXPECT_THAT(lines(), ElementsAre(begun_, pending_, success_, updated_));
}

TEST_F(BulkTest, CommitsThoseThatSucceedAndRollsBackTheOthersInOneUpdate)
{
    respondPending();
    respond(201, "");
    doThe({b_});
    EXPECT_EQ(registerAll(), 8022);
    EXPECT_THAT(sent(),
                ElementsAre(registration(), update(record("|B|", "READY") + ',' + record("|B|C|", "READY") +
                                                   ',' + record("|A|", "DELETED"))));
    EXPECT_THAT(lines(), ElementsAre(begun_, pending_, partly("successful=1, failed=1"), updated_));
}

TEST_F(BulkTest, RollsBackAllWhenNoneSucceeds)
{
    respondPending();
    respond(201, "");
    EXPECT_EQ(registerAll(), 8022);
    EXPECT_THAT(sent(), ElementsAre(registration(), deleted_));
    EXPECT_THAT(lines(), ElementsAre(begun_, pending_, partly("successful=0, failed=2"), updated_));
}

TEST_F(BulkTest, WhatTheCallbackReturnsDoesNotCount)
{
    respondPending();
    respond(201, "");
    callback_->work = [this](Successful& successful) {
        successful = {a_, b_};
        return 99;
    };
    EXPECT_EQ(registerAll(), 0);
    EXPECT_THAT(lines(), ElementsAre(begun_, pending_, success_, updated_));
}

TEST_F(BulkTest, AfterAnExceptionOfTheCallbackNothingInTheSetCounts)
{
    for (const CallbackFault& it : callbackFaults()) {
        SCOPED_TRACE(it.text);
        log_.clear();
        scripted_->requests.clear();
        respondPending();
        respond(201, "");
        callback_->work = [this, &it](Successful& successful) {
            successful = {a_, b_};
            return it.work();
        };
        EXPECT_EQ(registerAll(), 8022);
        EXPECT_THAT(sent(), ElementsAre(registration(), deleted_));
        EXPECT_THAT(lines(), ElementsAre(begun_, pending_, line(16, "Callback threw " + it.text),
                                         partly("successful=0, failed=2"), updated_));
    }
}

TEST_F(BulkTest, NamesThatWereNotRegisteredCountAndDoNothingElse)
{
    respondPending();
    respond(201, "");
    doThe({a_, ObjectNamespace("X")});
    EXPECT_EQ(registerAll(), 0);
    EXPECT_EQ(sent().at(1), update(record("|A|", "READY") + ',' + record("|B|", "DELETED") + ',' +
                                   record("|B|C|", "DELETED")));
    EXPECT_THAT(lines(), ElementsAre(begun_, pending_, success_, updated_));
}

TEST_F(BulkTest, NamesThatWereNotRegisteredMayStandBeforeOthers)
{
    respondPending();
    respond(201, "");
    doThe({ObjectNamespace("0"), b_});
    EXPECT_EQ(registerAll(), 0);
    EXPECT_EQ(sent().at(1), update(record("|B|", "READY") + ',' + record("|B|C|", "READY") + ',' +
                                   record("|A|", "DELETED")));
}

TEST_F(BulkTest, MoreNamesThanObjectsAreAFailureToo)
{
    respondPending();
    respond(201, "");
    doThe({a_, b_, ObjectNamespace("X")});
    EXPECT_EQ(registerAll(), 8022);
    EXPECT_EQ(sent().at(1),
              update(record("|A|", "READY") + ',' + record("|B|", "READY") + ',' + record("|B|C|", "READY")));
    EXPECT_THAT(lines(),
                ElementsAre(begun_, pending_, partly("successful=3, failed=18446744073709551615"), updated_));
}

TEST_F(BulkTest, AnObjectThatTheListNamesTwiceIsReportedOnce)
{
    data_ = {dataOf(a_), dataOf(a_)};
    respond(201, R"({"data":[{"id":"|A|","relationships":{"registeredObjects":{"data":[{"id":"|A|"}]}}}]})");
    respond(201, "");
    doThe({a_});
    EXPECT_EQ(registerAll(), 8022);
    EXPECT_EQ(sent().at(1), update(record("|A|", "READY")));
}

TEST_F(BulkTest, AnObjectThatTheAnswerLeavesOutIsNotUpdated)
{
    respond(201, R"({"data":[{"id":"|A|","relationships":{"registeredObjects":{"data":[{"id":"|A|"}]}}}]})");
    respond(201, "");
    doThe({a_, b_});
    EXPECT_EQ(registerAll(), 0);
    EXPECT_EQ(sent().at(1), update(record("|A|", "READY")));
}

TEST_F(BulkTest, TenThousandObjectsAreOneRequestInEachPhase)
{
    constexpr int OBJECTS = 10000;
    std::string answer;
    std::string records;
    Successful all;
    data_.clear();
    for (int i = 0; i < OBJECTS; ++i) {
        const ObjectNamespace object("A", std::to_string(OBJECTS + i)); // in the map's order
        data_.push_back(dataOf(object));
        all.insert(object);
        const std::string id = R"({"id":")" + object.str() + '"';
        answer +=
            (i == 0 ? "" : ",") + id + R"(,"relationships":{"registeredObjects":{"data":[)" + id + "}]}}}";
        records += (i == 0 ? "" : ",") + record(object.str(), "READY");
    }
    respond(201, R"({"data":[)" + answer + "]}");
    respond(201, "");
    doThe(all);
    EXPECT_EQ(registerAll(), 0);
    ASSERT_EQ(scripted_->requests.size(), 2U);
    EXPECT_TRUE(sent().at(1) == update(records));
    EXPECT_THAT(lines(), ElementsAre(line(4, "Registering 10000 objects"), pending_, success_, updated_));
}

TEST_F(BulkTest, AnEmptyListIs20BeforeAMissingCallback)
{
    data_.clear();
    EXPECT_EQ(registerAll(), 20);
    EXPECT_EQ(service().bulkRegisterObjects(data_, nullptr), 20);
    const LogLine empty = line(16, "bulkRegistrationData must not be empty");
    EXPECT_THAT(log_.lines(), ElementsAre(empty, empty));
    expectNothingDone();
}

TEST_F(BulkTest, AMissingCallbackIs20BeforeMissingData)
{
    EXPECT_EQ(service().bulkRegisterObjects(data_, nullptr), 20);
    EXPECT_EQ(service().bulkRegisterObjects({nullptr}, nullptr), 20);
    const LogLine required = line(16, "callback is required");
    EXPECT_THAT(log_.lines(), ElementsAre(required, required));
    expectNothingDone();
}

TEST_F(BulkTest, AnElementWithoutAttributesFailsWhenItIsPacked)
{
    data_.back()->accessControlAttributes.reset();
    EXPECT_EQ(registerAll(), 114);
    EXPECT_THAT(log_.lines(),
                ElementsAre(begun_, LogLine{16, "json_pack_shared", "Error generating JSON: NULL object"},
                            line(16, "Registration failed with exception: std::bad_alloc")));
    EXPECT_THAT(callback_->told, ElementsAre(114));
    EXPECT_EQ(callback_->invoked, 0);
    EXPECT_THAT(scripted_->created, IsEmpty()) << "nothing is sent";
}

TEST_F(BulkTest, AMissingElementFailsTheFirstPhase)
{
    data_.push_back(nullptr);
    EXPECT_EQ(registerAll(), 20);
    EXPECT_THAT(log_.lines(),
                ElementsAre(line(4, "Registering 3 objects"),
                            LogLine{16, tagOf("buildRegistrationJSON"), "ObjectRegistrationData is required"},
                            line(16, "Registration failed, status=20")));
    EXPECT_THAT(callback_->told, ElementsAre(20));
    EXPECT_EQ(callback_->invoked, 0);
    EXPECT_THAT(scripted_->created, IsEmpty()) << "nothing is sent";
}

TEST_F(BulkTest, AnAnswerThatCannotBeUnderstoodFailsTheFirstPhase)
{
    struct Case {
        std::string answer;
        int status;
        std::string text;
    };
    for (const Case& it :
         {Case{"nonsense", 9103, "Registration failed, status=9103"},
          Case{R"({"data":{}})", 9103, "Registration failed, status=9103"},
          Case{R"({"data":[{"id":"A"}]})", 114,
               "Registration failed with exception: bad lexical cast: source type value could not be "
               "interpreted as target"}}) {
        log_.clear();
        callback_->told.clear();
        respond(201, it.answer);
        EXPECT_EQ(registerAll(), it.status);
        EXPECT_THAT(callback_->told, ElementsAre(it.status));
        EXPECT_THAT(lines(), ElementsAre(begun_, line(16, it.text)));
    }
    EXPECT_EQ(callback_->invoked, 0);
}

TEST_F(BulkTest, AnExceptionOfNotifyFailureIsLoggedAndChangesNothing)
{
    respond(409, R"({"errorCode":5930,"errorMessage":"is there"})");
    callback_->onFailure = [] { throw 0; };
    EXPECT_EQ(registerAll(), 5930);
    EXPECT_THAT(lines(), ElementsAre(begun_, line(16, "Registration failed, status=5930"),
                                     line(16, "notifyFailure threw unknown exception.")));
}

TEST_F(BulkTest, TellsTheExceptionBehindItsStatus)
{
    std::exception_ptr cause;
    respond(409, R"({"errorCode":5930,"errorMessage":"refused"})");
    EXPECT_EQ(service().bulkRegisterObjects(data_, callback_, cause), 5930);
    EXPECT_EQ(thrownBy<ServiceRefusal>([&] { std::rethrow_exception(cause); }).message(), "refused");
    respondPending();
    scripted_->responses.push_back({7, 0, "", nullptr, "POST failed"});
    EXPECT_EQ(service().bulkRegisterObjects(data_, callback_, cause), 8030);
    EXPECT_EQ(thrownBy<TransferFailure>([&] { std::rethrow_exception(cause); }).reason(), "POST failed");
}

/// Each way in which a request fails, in each place.
class BulkFaultTest : public BulkTest, public testing::WithParamInterface<FailedRequest> {
protected:
    [[nodiscard]] LogLine failure(const std::string& what, int status) const
    {
        return line(16, GetParam().choose(what + ", status=" + std::to_string(status),
                                          what + " with exception: " + GetParam().text,
                                          what + " with unknown exception."));
    }
};

TEST_P(BulkFaultTest, InTheFirstPhaseIsToldAndReturned)
{
    GetParam().play(*scripted_);
    EXPECT_EQ(registerAll(), GetParam().status);
    EXPECT_EQ(callback_->invoked, 0);
    EXPECT_THAT(callback_->told, ElementsAre(GetParam().status));
    EXPECT_THAT(lines(), ElementsAre(begun_, failure("Registration failed", GetParam().status)));
}

TEST_P(BulkFaultTest, InTheUpdateAfterSuccessIs8030)
{
    respondPending();
    callback_->work = [this](Successful& successful) {
        GetParam().play(*scripted_);
        successful = {a_, b_};
        return 0;
    };
    EXPECT_EQ(registerAll(), 8030);
    EXPECT_THAT(callback_->told, IsEmpty());
    EXPECT_THAT(lines(),
                ElementsAre(begun_, pending_, success_, failure("State update failed", GetParam().carried)));
}

TEST_P(BulkFaultTest, InTheUpdateAfterAFailureIs8030In8022sPlace)
{
    respondPending();
    callback_->work = [this](Successful& /*successful*/) {
        GetParam().play(*scripted_);
        return 0;
    };
    EXPECT_EQ(registerAll(), 8030);
    EXPECT_THAT(lines(), ElementsAre(begun_, pending_, partly("successful=0, failed=2"),
                                     failure("State update failed", GetParam().carried)));
}

INSTANTIATE_TEST_SUITE_P(Each, BulkFaultTest, testing::ValuesIn(allFailedRequests()), nameOf);

} // namespace
} // namespace keepsafe_test
