// ksrbacd as a process, with something in its way: locks that others hold, files that it cannot write,
// clients that stop in the middle of a request.

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/http/service_failures.h>
#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/api/Roles.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>

#include "service/daemon/ServiceProgram.h"
#include "service/server/TlsConnection.h"
#include "service/support/StoppedReader.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using namespace Tessara::Keepsafe::Rbac;
using Tessara::Keepsafe::ServiceRefusal;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Clock = std::chrono::steady_clock;
namespace operations = root_namespaces::operations;

/// A service that knows a role, and an object on which the role may be granted VIEW.
class Obstacle : public ServiceProgram {
protected:
    Obstacle()
    {
        const std::string policy = root_.path("policy.json");
        writeFile(policy, R"({"operations":{"|OPERATIONS|VIEW|":0},"roles":[{"id":7,"name":"viewer"}],)"
                          R"("objects":[{"namespace":"|KEEPSAFE|"}],"accessDefinitions":[]})");
        const auto imported = root_.sandbox({"import", policy});
        EXPECT_EQ(imported.exitStatus, 0) << imported.errors;
    }

    static void grant()
    {
        const auto view = json_pack_shared("[{s:s, s:s}]", "id", operations::VIEW.str().c_str(), "type",
                                           "accessControlOperation");
        (void)ManagedObjectAPI().add_access_definition(root_namespaces::KEEPSAFE, RoleAPI().get_role(7),
                                                       Propagation::OBJECT, view);
    }
    static void revoke()
    {
        ManagedObjectAPI().delete_access_definition_by_id(root_namespaces::KEEPSAFE, "1");
    }

    static boost::shared_ptr<const AccessChecker> checker()
    {
        boost::shared_ptr<AccessControlClient> client;
        EXPECT_EQ(AccessControlClient::create(root_namespaces::KEEPSAFE, client), 0);
        boost::shared_ptr<const AccessChecker> checker;
        EXPECT_EQ(client->createAccessChecker({7}, operations::VIEW, 0, checker), 0);
        return checker;
    }

    [[nodiscard]] std::string cacheFile(const std::string& name) const
    {
        return root_.path("wmc/webserver/temp/access-caches/service/" + name);
    }

    [[nodiscard]] TlsConnection connect() const
    {
        return {address_,
                1556,
                root_.path("etc/tls/ca.pem"),
                {root_.path("etc/tls/host.pem"), root_.path("etc/tls/host.key")}};
    }
    [[nodiscard]] std::string get(const std::string& resource) const
    {
        TlsConnection connection = connect();
        connection.send("GET /keepsafe/access-control/" + resource + " HTTP/1.1\r\nHost: x\r\n\r\n");
        return connection.response();
    }

    /// Sends SIGTERM; the exit status is to come within 2 s.
    static int statusAtTheEndOf(Process& process)
    {
        const Clock::time_point begin = Clock::now();
        process.signal(SIGTERM);
        const int status = process.wait().exitStatus;
        EXPECT_LT(Clock::now() - begin, std::chrono::seconds(2));
        return status;
    }

    /// What the service has logged so far.
    [[nodiscard]] std::string logged() const { return readFile(root_.path("errors")); }
    void waitForLog(const std::string& text) const
    {
        const Clock::time_point end = Clock::now() + std::chrono::seconds(60);
        while (logged().find(text) == std::string::npos && Clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_THAT(logged(), HasSubstr(text));
    }
};

TEST_F(Obstacle, InTheCachesFolderKeepsARevocationFromReadersOnlyUntilItIsGone)
{
    const Process process = started();
    grant();
    const auto mayView = checker();
    ASSERT_TRUE(mayView->checkAccess(root_namespaces::KEEPSAFE));
    EXPECT_THAT(get("roles"), Not(HasSubstr("Keepsafe-Access-Cache")));
    std::filesystem::rename(cacheFile("counts"), cacheFile("kept"));
    std::filesystem::create_directory(cacheFile("counts"));

    const auto refusal = thrownBy<ServiceRefusal>(revoke);
    EXPECT_EQ(refusal.status(), 12);
    EXPECT_EQ(refusal.httpStatus(), 503);
    EXPECT_THAT(refusal.message(), AllOf(HasSubstr("the change is stored, but since 2"),
                                         HasSubstr("cannot open " + cacheFile("counts"))));
    EXPECT_TRUE(ManagedObjectAPI().get_access_definitions(root_namespaces::KEEPSAFE).empty());
    EXPECT_THAT(get("roles"), HasSubstr("\r\nKeepsafe-Access-Cache: outdated\r\n"));

    std::filesystem::remove(cacheFile("counts"));
    std::filesystem::rename(cacheFile("kept"), cacheFile("counts"));
    waitForLog("the access cache is published again");
    EXPECT_FALSE(mayView->checkAccess(root_namespaces::KEEPSAFE));
    EXPECT_THAT(get("roles"), Not(HasSubstr("Keepsafe-Access-Cache")));
}

TEST_F(Obstacle, AtTheStartKeepsTheServiceFromPublishingButNotFromAnswering)
{
    std::filesystem::rename(cacheFile("counts"), cacheFile("kept"));
    std::filesystem::create_directory(cacheFile("counts"));
    Process process = started();
    EXPECT_THAT(get("roles"), HasSubstr("\r\nKeepsafe-Access-Cache: outdated\r\n"));
    EXPECT_THAT(logged(), HasSubstr("; it is tried again until it succeeds"));
    EXPECT_EQ(statusAtTheEndOf(process), 0) << "while it tries again";
}

TEST_F(Obstacle, OfAStoppedReaderIsNamedAndDoesNotOutliveIt)
{
    const Process process = started({"--lock-wait", "100"});
    auto reader = std::make_unique<StoppedReader>(cacheFile("manifest.json"));
    const auto refusal = thrownBy<ServiceRefusal>(grant);
    EXPECT_THAT(refusal.message(), HasSubstr(cacheFile("manifest.json") + " is locked by others"));
    reader.reset();
    waitForLog("the access cache is published again");
    EXPECT_TRUE(checker()->checkAccess(root_namespaces::KEEPSAFE));
}

TEST_F(Obstacle, OfALockThatAChangeWaitsForIsToldAndDoesNotKeepTheServiceFromEnding)
{
    Process process = started({"--lock-wait", "60000"});
    const StoppedReader reader(cacheFile("manifest.json"));
    std::thread change([] { EXPECT_THROW(grant(), EC_exception); });
    waitForLog("for the lock on " + cacheFile("manifest.json"));
    EXPECT_EQ(statusAtTheEndOf(process), 0);
    change.join();
}

TEST_F(Obstacle, OfALockAtTheStartDoesNotKeepTheServiceFromEnding)
{
    const StoppedReader reader(cacheFile("manifest.json"));
    Process process = start({"--lock-wait", "60000"});
    waitForLog("for the lock on " + cacheFile("manifest.json"));
    EXPECT_EQ(statusAtTheEndOf(process), 0);
}

TEST_F(Obstacle, OfABodyThatDoesNotComeDoesNotKeepTheServiceFromEnding)
{
    Process process = started();
    TlsConnection connection = connect();
    connection.send(
        "POST /keepsafe/access-control/roles HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\n{");
    EXPECT_THAT(get("roles"), HasSubstr("200 OK")) << "the beginning has been read by now";
    EXPECT_EQ(statusAtTheEndOf(process), 0);
}

} // namespace
} // namespace keepsafe_test
