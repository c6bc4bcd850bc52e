/// Answers that are made to take memory, from a real server. The client is a child process of its own, whose
/// memory is measured.

#include <functional>

#include <gtest/gtest.h>

#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/api/Operations.h>
#include <keepsafe/rbac/api/Roles.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "support/CapturedLog.h"
#include "support/MasterServerRoot.h"
#include "support/PeakMemory.h"
#include "support/Process.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService;
using Tessara::Keepsafe::Rbac::ManagedObjectAPI;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationAPI;
using Tessara::Keepsafe::Rbac::RoleAPI;

constexpr std::size_t BODY = 60'000'000;
/// The body while it grows, and its copy for the caller.
constexpr std::size_t MOST_MEMORY = BODY * 4;

class LargeAnswer : public testing::Test {
protected:
    /// Whether the call fails with this status in little memory when the server answers so.
    bool fails(int status, int httpStatus, const std::function<int()>& call)
    {
        std::string body = R"({"data":[{})";
        while (body.size() < BODY) {
            body += ",{}";
        }
        server_.playAlways(keepsafe_test::answer(httpStatus, body + "]}"));
        return holdsInChild([&] {
            const CapturedLog log;
            const PeakMemory peak;
            return call() == status && peak.growth() > BODY && peak.growth() < MOST_MEMORY;
        });
    }

    const MasterServerRoot root_;
    HttpsServer server_{root_.settings()};
};

TEST_F(LargeAnswer, OfManySmallValuesIsRefusedByEachRestClient)
{
    EXPECT_TRUE(fails(7610, 200, [] { return thrownStatus([] { (void)RoleAPI().get_roles(""); }); }));
    EXPECT_TRUE(
        fails(7610, 200, [] { return thrownStatus([] { (void)OperationAPI().get_operations(""); }); }));
    EXPECT_TRUE(fails(7610, 200, [] {
        return thrownStatus([] { (void)ManagedObjectAPI().get_access_definitions(ObjectNamespace("A")); });
    }));
}

TEST_F(LargeAnswer, OfManySmallValuesIsRefusedByTheOthers)
{
    EXPECT_TRUE(fails(9103, 201, [] {
        return thrownStatus(
            [] { (void)DefaultObjectRegistrationService().bulkRegisterObjectsWithStatePending({}); });
    }));
    EXPECT_TRUE(fails(7610, 200, [] {
        boost::shared_ptr<AccessControlClient> client;
        return AccessControlClient::create(ObjectNamespace("A"), client);
    }));
}

TEST_F(LargeAnswer, OfManySmallValuesIsNoErrorDocument)
{
    EXPECT_TRUE(fails(114, 500, [] { return thrownStatus([] { (void)RoleAPI().get_role(1); }); }));
}

} // namespace
} // namespace keepsafe_test
