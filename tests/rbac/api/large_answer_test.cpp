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
#include "support/HttpsServer.h"
#include "support/PeakMemory.h"
#include "support/Process.h"
#include "support/TempDir.h"
#include "support/own_address.h"
#include "support/thrown.h"

namespace {

using keepsafe_test::holdsInChild;
using keepsafe_test::HttpsServer;
using keepsafe_test::PeakMemory;
using keepsafe_test::thrownStatus;
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
    LargeAnswer()
    {
        keepsafe_test::writeFile(root_.path("etc/keepsafe.toml"),
                                 "master_server = \"" + address_ + "\"\n[features]\nenabled = [1]\n[tls]\n" +
                                     "certificate = \"" + client_.certificate + "\"\nkey = \"" + client_.key +
                                     "\"\nca = \"" + authority_.file() + "\"\n");
    }

    [[nodiscard]] HttpsServer::Settings serverSettings() const
    {
        HttpsServer::Settings settings;
        settings.certificate = authority_.issue({"server", "serverAuth", "IP:" + address_});
        settings.clientCa = authority_.file();
        settings.address = address_;
        settings.port = 1556;
        return settings;
    }

    /// Whether the call fails with this status in little memory when the server answers so.
    bool fails(int status, int httpStatus, const std::function<int()>& call)
    {
        std::string body = R"({"data":[{})";
        while (body.size() < BODY) {
            body += ",{}";
        }
        server_.playAlways(keepsafe_test::answer(httpStatus, body + "]}"));
        return holdsInChild([&] {
            const keepsafe_test::CapturedLog log;
            const PeakMemory peak;
            return call() == status && peak.growth() > BODY && peak.growth() < MOST_MEMORY;
        });
    }

    keepsafe_test::TempRoot root_;
    const std::string address_ = keepsafe_test::ownAddress();
    const keepsafe_test::CertificateAuthority authority_{root_.path(), "ca"};
    const keepsafe_test::CertificateFiles client_ = authority_.issueForClient("host");
    HttpsServer server_{serverSettings()};
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
