// ksrbac-sandbox serve as a process of its own, asked by the library's clients.

#include <atomic>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <boost/make_shared.hpp>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/api/Operations.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/api/Roles.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "sandbox/support/RunningService.h"
#include "support/CapturedLog.h"
#include "support/Descriptor.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using namespace Tessara::Keepsafe::Rbac;
using testing::HasSubstr;
using testing::StartsWith;
namespace operations = root_namespaces::operations;

/// What the service is asked to do without, and with, a policy that knows the operation VIEW.
class ServeProgram : public testing::Test {
protected:
    std::string policyFile() const
    {
        writeFile(folder_.path("policy.json"),
                  R"({"operations":{"|OPERATIONS|VIEW|":0,"|OPERATIONS|ADD|":1},"roles":[],)"
                  R"("objects":[{"namespace":"|KEEPSAFE|"}],"accessDefinitions":[]})");
        return folder_.path("policy.json");
    }

    static boost::shared_ptr<json_t> operation(const ObjectNamespace& name)
    {
        return json_pack_shared("[{s:s, s:s}]", "id", name.str().c_str(), "type", "accessControlOperation");
    }

    static bool mayView(const ObjectNamespace& object, int role)
    {
        boost::shared_ptr<AccessControlClient> client;
        EXPECT_EQ(AccessControlClient::create(root_namespaces::KEEPSAFE, client), 0);
        boost::shared_ptr<const AccessChecker> checker;
        EXPECT_EQ(client->createAccessChecker({role}, operations::VIEW, 0, checker), 0);
        return checker->checkAccess(object);
    }

    /// Nothing when there is no such object.
    static boost::optional<ManagedObjectState> stateOf(const ObjectNamespace& object)
    {
        try {
            return ManagedObjectAPI().get_object(object).state;
        } catch (const EC_exception&) {
            return boost::none;
        }
    }

    /// Calls `work` with 0, 1 and so on, until it says that it failed: the service is killed some moments
    /// after the first call succeeded. Then the service is there again.
    void workUntilItIsKilled(const std::function<bool(int)>& work)
    {
        ASSERT_TRUE(work(0));
        const std::chrono::microseconds moment(random_() % 40000);
        std::thread killer([&] {
            std::this_thread::sleep_for(moment);
            service_.killNow();
        });
        for (int number = 1; work(number); ++number) {
        }
        killer.join();
        service_.kill();
        service_.start();
    }

    static boost::shared_ptr<ObjectRegistrationData> dataOf(const ObjectNamespace& name)
    {
        auto data = boost::make_shared<ObjectRegistrationData>();
        data->objectNamespace = name;
        data->objectType = "vm";
        data->accessControlAttributes = json_pack_shared("{}");
        return data;
    }

    /// With the grant of VIEW to a role.
    static boost::shared_ptr<ObjectRegistrationData> dataOf(const ObjectNamespace& name, int role)
    {
        auto data = dataOf(name);
        data->accessControlAttributes =
            json_pack_shared("{s:[{s:i, s:[s], s:s}]}", "accessDefinitions", "roleId", role, "operations",
                             operations::VIEW.str().c_str(), "propagation", "OBJECT");
        return data;
    }

    static std::set<std::string> roleNames()
    {
        std::set<std::string> names;
        for (const Role& role : RoleAPI().get_roles("")) {
            names.insert(role.name);
        }
        return names;
    }

    const TempDir folder_;
    CapturedLog log_{8};
    RunningService service_{policyFile()};

private:
    std::mt19937 random_{20261121};
};

/// Work that succeeds at once.
class DoesNothing : public ObjectRegistrationCallback {
public:
    int invoke() override { return 0; }
    void notifyFailure(int /*status*/) override {}
};

TEST_F(ServeProgram, KeepsRolesForTheLibrary)
{
    const RoleAPI roles;
    Role role = roles.create_role("Auditor's", "reads");
    EXPECT_EQ(roles.get_role(role.id).name, "Auditor's");
    EXPECT_EQ(roles.get_roles("name eq 'Auditor''s'").size(), 1U);
    role.name = "Reader";
    role.description = "";
    roles.update_role(role);
    EXPECT_EQ(roles.get_role(role.id).name, "Reader");
    EXPECT_EQ(roles.get_role(role.id).description, "");
    roles.delete_role_by_id(role.id);
    EXPECT_EQ(thrownStatus([&] { (void)roles.get_role(role.id); }), 20);
}

TEST_F(ServeProgram, ChangesTheNextDecisionWithAGrant)
{
    const Role role = RoleAPI().create_role("viewer", "");
    const ManagedObjectAPI objects;
    EXPECT_FALSE(mayView(root_namespaces::KEEPSAFE, role.id));

    const AccessDefinition made = objects.add_access_definition(
        root_namespaces::KEEPSAFE, role, Propagation::OBJECT_AND_CHILDREN, operation(operations::VIEW));
    EXPECT_TRUE(mayView(root_namespaces::KEEPSAFE | "a b/c", role.id));
    EXPECT_EQ(objects.get_access_definitions(root_namespaces::KEEPSAFE).front().id, made.id);

    objects.delete_access_definition_by_id(root_namespaces::KEEPSAFE, made.id);
    EXPECT_FALSE(mayView(root_namespaces::KEEPSAFE, role.id));
}

TEST_F(ServeProgram, AnswersForObjectsAndOperations)
{
    const ManagedObjectAPI objects;
    objects.set_inherit(root_namespaces::KEEPSAFE, false);
    EXPECT_FALSE(objects.get_object(root_namespaces::KEEPSAFE).inherit);
    EXPECT_EQ(thrownStatus([&] { (void)objects.get_object(ObjectNamespace("none")); }), 20);
    EXPECT_EQ(OperationAPI().get_operations("contains(id,'VIEW')"),
              std::list<ObjectNamespace>{operations::VIEW});
}

TEST_F(ServeProgram, RegistersObjectsInTwoPhases)
{
    const DefaultObjectRegistrationService registration;
    const ObjectNamespace name = root_namespaces::KEEPSAFE | "vm|1";
    const auto registered = registration.registerObjectWithStatePending(dataOf(name));
    EXPECT_EQ(registered.first, name);
    EXPECT_EQ(registered.second, std::list<ObjectNamespace>{name});
    EXPECT_EQ(ManagedObjectAPI().get_object(name).state, PENDING);
    registration.changeObjectState(name, READY);
    EXPECT_EQ(ManagedObjectAPI().get_object(name).state, READY);
    registration.deleteObject(name);
    EXPECT_EQ(thrownStatus([&] { (void)ManagedObjectAPI().get_object(name); }), 20);
}

TEST_F(ServeProgram, EndsWith0AndIsBackAtTheSameAddressAtOnce)
{
    const Role role = RoleAPI().create_role("kept", ""); // a connection of the library's stays open
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(service_.stop(), 0);
        service_.start();
        EXPECT_EQ(RoleAPI().get_role(role.id).name, "kept");
    }
    EXPECT_EQ(service_.output(), "listening on https://" + service_.address() + ":1556\n");
    EXPECT_EQ(service_.errors(), "");
}

/// A process that has locked a file for reading and does nothing more.
Process stoppedReader(const std::string& file)
{
    const Pipe isLocked;
    Process reader = Process::fork([&] {
        const Descriptor opened = openFile(file, O_RDONLY);
        struct flock lock = {};
        lock.l_type = F_RDLCK;
        if (::fcntl(opened.get(), F_SETLKW, &lock) != 0 || ::write(isLocked.writeEnd.get(), "\n", 1) != 1) {
            return 1;
        }
        for (;;) {
            ::pause();
        }
    });
    (void)keepsafe_test::readLine(isLocked.readEnd);
    return reader;
}

TEST_F(ServeProgram, EndsInTimeWhileAChangeWaitsForAReaderThatHasStopped)
{
    const Role role = RoleAPI().create_role("viewer", "");
    const Process reader =
        stoppedReader(service_.path("wmc/webserver/temp/access-caches/service/manifest.json"));
    std::thread change([&role] {
        (void)thrownStatus([&role] {
            (void)ManagedObjectAPI().add_access_definition(root_namespaces::KEEPSAFE, role,
                                                           Propagation::OBJECT, operation(operations::VIEW));
        });
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const auto begin = std::chrono::steady_clock::now();
    service_.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    change.join();
    reader.kill();
    service_.start();
    EXPECT_EQ(RoleAPI().get_role(role.id).name, "viewer");
}

TEST_F(ServeProgram, IsAloneInItsRootAndAtItsAddress)
{
    const ProgramResult second = service_.sandbox({"serve"});
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_THAT(second.errors, StartsWith("ksrbac-sandbox: the service is running for this root (process "));

    const ProgramResult made = runProgram({service_.sandboxProgram(), "init", "--root", folder_.path("other"),
                                           "--service", service_.address()});
    ASSERT_EQ(made.exitStatus, 0) << made.errors;
    const ProgramResult other =
        runProgram({service_.sandboxProgram(), "serve", "--root", folder_.path("other")});
    EXPECT_EQ(other.exitStatus, 1);
    EXPECT_EQ(other.errors,
              "ksrbac-sandbox: cannot listen on " + service_.address() + ":1556: Address already in use\n");
    EXPECT_EQ(other.output, "");
}

TEST_F(ServeProgram, FailsCallsWithAStatusWhileItIsAwayAndAnswersTheNextOnes)
{
    const RoleAPI roles;
    const Role role = roles.create_role("kept", "");
    std::atomic<bool> isOver = false;
    std::atomic<int> failures = 0;
    std::vector<std::thread> callers;
    callers.reserve(4);
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back([&] {
            while (!isOver) {
                failures +=
                    thrownStatus([&] { EXPECT_EQ(roles.get_role(role.id).name, "kept"); }) == 0 ? 0 : 1;
            }
        });
    }
    for (int i = 0; i < 3; ++i) {
        service_.kill();
        const int before = failures;
        while (failures == before) {
            std::this_thread::yield();
        }
        service_.start();
        EXPECT_EQ(thrownStatus([&] { (void)roles.get_role(role.id); }), 0);
    }
    isOver = true;
    for (std::thread& caller : callers) {
        caller.join();
    }
}

TEST_F(ServeProgram, LosesNothingThatItHasAcknowledgedWhenItIsKilled)
{
    constexpr int rounds = 6;
    std::set<std::string> acknowledged;
    for (int round = 0; round < rounds; ++round) {
        workUntilItIsKilled([&](int number) {
            const std::string name = "role-" + std::to_string(round) + "-" + std::to_string(number);
            const bool isMade = thrownStatus([&] { (void)RoleAPI().create_role(name, ""); }) == 0;
            if (isMade) {
                acknowledged.insert(name);
            }
            return isMade;
        });
        const std::set<std::string> there = roleNames();
        for (const std::string& name : acknowledged) {
            EXPECT_EQ(there.count(name), 1U) << name << " in round " << round;
        }
    }
    EXPECT_GE(acknowledged.size(), static_cast<std::size_t>(rounds));
    // A change that is made now is still published.
    const Role role = RoleAPI().create_role("last", "");
    (void)ManagedObjectAPI().add_access_definition(root_namespaces::KEEPSAFE, role, Propagation::OBJECT,
                                                   operation(operations::VIEW));
    EXPECT_TRUE(mayView(root_namespaces::KEEPSAFE, role.id));
}

TEST_F(ServeProgram, HasRegistrationsWhereTheirStatusSaysWhenItIsKilled)
{
    constexpr int rounds = 6;
    const Role viewer = RoleAPI().create_role("viewer", "");
    DefaultObjectRegistrationService registration;
    const auto callback = boost::make_shared<DoesNothing>();
    std::map<ObjectNamespace, int> statuses;
    for (int round = 0; round < rounds; ++round) {
        workUntilItIsKilled([&](int number) {
            const ObjectNamespace name =
                root_namespaces::KEEPSAFE | "vms" | (std::to_string(round) + "-" + std::to_string(number));
            return (statuses[name] = registration.registerObject(dataOf(name, viewer.id), callback)) == 0;
        });
        for (const auto& [name, status] : statuses) {
            const boost::optional<ManagedObjectState> state = stateOf(name);
            SCOPED_TRACE(name.str() + " has status " + std::to_string(status));
            EXPECT_TRUE(status != 0 || state == READY);
            EXPECT_TRUE(status != 8024 || state == READY || state == PENDING);
            EXPECT_EQ(mayView(name, viewer.id), state == READY);
        }
    }
    EXPECT_GE(statuses.size(), 2U * rounds);
    for (const auto& entry : statuses) {
        const auto again = dataOf(entry.first, viewer.id);
        again->ignoreAlreadyRegistered = true;
        EXPECT_EQ(registration.registerObject(again, callback), 0) << "it may be registered again";
        EXPECT_TRUE(mayView(entry.first, viewer.id));
    }
}

TEST_F(ServeProgram, ListensWhereItIsTold)
{
    service_.stop();
    EXPECT_EQ(
        service_.sandbox({"serve", "--listen", "nowhere"}).errors,
        "ksrbac-sandbox: \"nowhere\": the port is missing; wanted is ADDRESS:PORT, as in 127.0.0.1:1556 "
        "or [::1]:1556\n");
    EXPECT_EQ(service_.sandbox({"serve", "--listen", "nowhere"}).exitStatus, 2);
    const ProgramResult foreign = service_.sandbox({"serve", "--listen", "192.0.2.1:1556"});
    EXPECT_EQ(foreign.exitStatus, 1);
    EXPECT_EQ(foreign.errors,
              "ksrbac-sandbox: cannot listen on 192.0.2.1:1556: Cannot assign requested address\n");
}

TEST(ServiceWithoutRoot, IsRefused)
{
    const TempDir folder;
    const ProgramResult result =
        runProgram({RunningService::sandboxProgram(), "serve", "--root", folder.path("none")});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.errors, "ksrbac-sandbox: the installation root " + folder.path("none") +
                                 " is not there: run 'ksrbac-sandbox init --root " + folder.path("none") +
                                 "' first\n");
}

} // namespace
} // namespace keepsafe_test
