/// Unregistering an object: every way through the workflow.

#include <keepsafe/platform/http/service_failures.h>

#include "FailedRequest.h"
#include "RegistrationTest.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::ServiceRefusal;
using Tessara::Keepsafe::TransferFailure;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ObjectUnregistrationCallback;
using testing::ElementsAre;
using testing::IsEmpty;

using UnregistrationWork = WorkCallback<ObjectUnregistrationCallback>;

class UnregisterTest : public RegistrationTest {
protected:
    int unregister() { return service().unregisterObject(ObjectNamespace("A", "b c"), callback_); }

    static LogLine line(int level, const std::string& text)
    {
        return {level, tagOf("unregisterObject"), text};
    }

    [[nodiscard]] std::vector<LogLine> lines() const { return linesOf("unregisterObject"); }

    static std::string update(const std::string& state)
    {
        return R"(bulk-object-update-requests {"data":{"type":"managedObjectUpdate","attributes":)"
               R"({"managedObjectsWithAttributes":[{"objectId":"|A|b+c|","state":")" +
               state + R"("}]}}})";
    }

    const LogLine begun_ = line(4, "Unregistering |A|b+c|");
    const LogLine pending_ = line(4, "Updated [|A|b+c|] state to PENDING");
    const boost::shared_ptr<UnregistrationWork> callback_ = boost::make_shared<UnregistrationWork>();
};

TEST_F(UnregisterTest, DeletesWhenTheCallbackSucceeds)
{
    respond(201, "");
    respond(201, "");
    callback_->work = [this] {
        EXPECT_THAT(sent(), ElementsAre(update("PENDING")))
            << "the object is pending while the callback works";
        return 0;
    };
    EXPECT_EQ(unregister(), 0);
    EXPECT_EQ(callback_->invoked, 1);
    EXPECT_THAT(callback_->told, IsEmpty());
    EXPECT_THAT(sent(), ElementsAre(update("PENDING"), update("DELETED")));
    EXPECT_THAT(lines(), ElementsAre(begun_, pending_, line(4, "Callback success. Deleting object"),
                                     line(4, "[|A|b+c|] unregistered successfully.")));
}

TEST_F(UnregisterTest, RestoresWhenTheCallbackFails)
{
    respond(201, "");
    respond(201, "");
    callback_->work = [] { return -3; };
    EXPECT_EQ(unregister(), 8023);
    EXPECT_THAT(callback_->told, IsEmpty());
    EXPECT_THAT(sent(), ElementsAre(update("PENDING"), update("READY")));
    EXPECT_THAT(lines(),
                ElementsAre(begun_, pending_,
                            line(16, "Callback failed, status=-3. Rolling back unregistration for [|A|b+c|]"),
                            line(4, "Rollback successful.")));
}

TEST_F(UnregisterTest, AnExceptionOfTheCallbackRestores)
{
    for (const CallbackFault& it : callbackFaults()) {
        SCOPED_TRACE(it.text);
        log_.clear();
        scripted_->requests.clear();
        respond(201, "");
        respond(201, "");
        callback_->work = it.work;
        EXPECT_EQ(unregister(), 8023);
        EXPECT_THAT(sent(), ElementsAre(update("PENDING"), update("READY")));
        EXPECT_THAT(lines(), ElementsAre(begun_, pending_, line(16, "Callback threw " + it.text),
                                         line(16, "Callback failed, status=" + std::to_string(it.status) +
                                                      ". Rolling back unregistration for [|A|b+c|]"),
                                         line(4, "Rollback successful.")));
    }
}

TEST_F(UnregisterTest, AMissingCallbackIs20BeforeAMissingName)
{
    EXPECT_EQ(service().unregisterObject(ObjectNamespace("A"), nullptr), 20);
    EXPECT_EQ(service().unregisterObject(ObjectNamespace(), nullptr), 20);
    const LogLine required = line(16, "ObjectUnregistrationCallback is required");
    EXPECT_THAT(log_.lines(), ElementsAre(required, required));
    EXPECT_THAT(scripted_->created, IsEmpty());
}

TEST_F(UnregisterTest, TheRootIsNoObject)
{
    EXPECT_EQ(service().unregisterObject(ObjectNamespace(), callback_), 20);
    EXPECT_THAT(log_.lines(), ElementsAre(line(16, "object Namespace is required")));
    EXPECT_THAT(scripted_->created, IsEmpty());
    EXPECT_EQ(callback_->invoked, 0);
    EXPECT_THAT(callback_->told, IsEmpty());
}

TEST_F(UnregisterTest, AnExceptionOfNotifyFailureIsLoggedAndChangesNothing)
{
    respond(404, R"({"errorCode":5931,"errorMessage":"no such object"})");
    callback_->onFailure = [] { throw std::runtime_error("why"); };
    EXPECT_EQ(unregister(), 5931);
    EXPECT_THAT(lines(), ElementsAre(begun_, line(16, "Failed to update object to pending, status=5931"),
                                     line(16, "notifyFailure threw exception: why")));
}

TEST_F(UnregisterTest, TellsTheExceptionBehindItsStatus)
{
    std::exception_ptr cause;
    respond(409, R"({"errorCode":5930,"errorMessage":"refused"})");
    EXPECT_EQ(service().unregisterObject(ObjectNamespace("A", "b c"), callback_, cause), 5930);
    EXPECT_EQ(thrownBy<ServiceRefusal>([&] { std::rethrow_exception(cause); }).message(), "refused");
    respond(201, "");
    scripted_->responses.push_back({7, 0, "", nullptr, "POST failed"});
    EXPECT_EQ(service().unregisterObject(ObjectNamespace("A", "b c"), callback_, cause), 8024);
    EXPECT_EQ(thrownBy<TransferFailure>([&] { std::rethrow_exception(cause); }).reason(), "POST failed");
}

/// Each way in which a request fails, in each place.
class UnregisterFaultTest : public UnregisterTest, public testing::WithParamInterface<FailedRequest> {
protected:
    /// The line of a step that failed so.
    [[nodiscard]] LogLine failure(const std::string& what, int status) const
    {
        return line(16, GetParam().choose(what + ", status=" + std::to_string(status),
                                          what + ". Exception: " + GetParam().text,
                                          what + ". Unknown exception occurred."));
    }
};

TEST_P(UnregisterFaultTest, InTheFirstPhaseIsToldAndReturned)
{
    GetParam().play(*scripted_);
    EXPECT_EQ(unregister(), GetParam().status);
    EXPECT_EQ(callback_->invoked, 0);
    EXPECT_THAT(callback_->told, ElementsAre(GetParam().status));
    EXPECT_THAT(lines(),
                ElementsAre(begun_, failure("Failed to update object to pending", GetParam().status)));
}

TEST_P(UnregisterFaultTest, InTheDeletionIs8024)
{
    respond(201, "");
    callback_->work = [this] {
        GetParam().play(*scripted_);
        return 0;
    };
    EXPECT_EQ(unregister(), 8024);
    EXPECT_THAT(callback_->told, IsEmpty());
    EXPECT_THAT(lines(), ElementsAre(begun_, pending_, line(4, "Callback success. Deleting object"),
                                     failure("Failed to delete [|A|b+c|]", GetParam().carried)));
}

TEST_P(UnregisterFaultTest, InTheRollbackIs8025)
{
    respond(201, "");
    callback_->work = [this] {
        GetParam().play(*scripted_);
        return 5;
    };
    EXPECT_EQ(unregister(), 8025);
    EXPECT_THAT(callback_->told, IsEmpty());
    EXPECT_THAT(lines(),
                ElementsAre(begun_, pending_,
                            line(16, "Callback failed, status=5. Rolling back unregistration for [|A|b+c|]"),
                            failure("Failed to rollback", GetParam().carried)));
}

INSTANTIATE_TEST_SUITE_P(Each, UnregisterFaultTest, testing::ValuesIn(allFailedRequests()), nameOf);

} // namespace
} // namespace keepsafe_test
