// Calls of the system fail while a role is asked for and while an object is registered, over HTTPS.

#include <string>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/api/Roles.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "faults/FaultRuns.h"
#include "faults/MasterServer.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ObjectRegistrationCallback;
using Tessara::Keepsafe::Rbac::ObjectRegistrationData;
using Tessara::Keepsafe::Rbac::Role;
using Tessara::Keepsafe::Rbac::RoleAPI;

const std::string ROLE_DOCUMENT =
    R"({"data":{"type":"accessControlRole","id":"7","links":{"self":{"href":"/access-control/roles/7"}},)"
    R"("attributes":{"name":"Auditor","description":"reads what others do","systemDefined":false}}})";
const std::string REGISTERED_DOCUMENT =
    R"({"id":"|VAULT|box-1|","type":"objectRegistrationResponse","relationships":{"registeredObjects":{"data":[)"
    R"({"id":"|VAULT|box-1|","type":"managedObject"}]}}})";
const std::string UPDATED_DOCUMENT = R"({"data":{"type":"managedObjectUpdate"}})";

void answerByPath(ServerConnection& connection, const RecordedRequest& request)
{
    const auto asks = [&](const char* resource) {
        return request.target.find(resource) != std::string::npos;
    };
    if (asks("/roles/7")) {
        keepsafe_test::answer(200, ROLE_DOCUMENT)(connection, request);
    } else if (asks("/bulk-object-update-requests")) {
        keepsafe_test::answer(201, UPDATED_DOCUMENT)(connection, request);
    } else {
        keepsafe_test::answer(201, REGISTERED_DOCUMENT)(connection, request);
    }
}

/// OpenSSL and libcurl initialise themselves once in a process, and remember it for ever when that failed.
/// The configuration's parser, toml++, ends the process when there is no memory. So all this happens before;
/// a child has the configuration that its parent has read, but does not use the parent's connection.
void initialize()
{
    TempRoot::settle();
    static_cast<void>(RoleAPI().get_role(7));
}

constexpr int LEVEL_OF_EVENTS = 8;
constexpr bool EXCEPTIONS_NEED_LINES = false; // a transfer that fails is in the exception, not in the log

std::string nothingElse(const std::string& /*folder*/, Result /*result*/) { return ""; }

class AskForRole : public Scenario {
public:
    Result work() override
    {
        const Role role = RoleAPI().get_role(7);
        const bool isWhole = role.id == 7 && role.name == "Auditor" &&
                             role.description == "reads what others do" && !role.systemDefined &&
                             role.href == "/access-control/roles/7";
        return isWhole ? Result::Right : Result::Wrong;
    }
};

TEST(FaultsInARestCall, GiveTheWholeAnswerOrAnException)
{
    const MasterServer server(answerByPath);
    initialize();
    expectSoundUnderFaults({[](const std::string& /*folder*/) { return std::make_unique<AskForRole>(); },
                            nothingElse, LEVEL_OF_EVENTS, EXCEPTIONS_NEED_LINES});
}

class Work : public ObjectRegistrationCallback {
public:
    int invoke() override { return ++invoked == 1 ? 0 : 1; }
    void notifyFailure(int /*status*/) override { ++failures; }

    int invoked = 0;
    int failures = 0;
};

class Register : public Scenario {
public:
    Result work() override
    {
        const auto callback = boost::make_shared<Work>();
        const auto data = boost::make_shared<ObjectRegistrationData>();
        data->objectNamespace = ObjectNamespace("VAULT", "box-1");
        data->objectType = "POLICY";
        data->accessControlAttributes = Tessara::Keepsafe::Rbac::json_pack_shared("{}");
        const int status = DefaultObjectRegistrationService().registerObject(data, callback);
        // A call that reports success has done the work, and the work is done at most once.
        const bool isSound = callback->invoked <= 1 && callback->failures <= 1 &&
                             callback->invoked + callback->failures == 1 &&
                             (status != 0 || callback->invoked == 1);
        return !isSound ? Result::Wrong : status == 0 ? Result::Right : Result::Refused;
    }
};

TEST(FaultsInARegistration, EndInAStatusAndTheWorkIsDoneOnceAtMost)
{
    const MasterServer server(answerByPath);
    initialize();
    expectSoundUnderFaults(
        {[](const std::string& /*folder*/) { return std::make_unique<Register>(); }, nothingElse});
}

} // namespace
} // namespace keepsafe_test
