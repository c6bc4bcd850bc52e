#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sandbox/support/RunningService.h"
#include "support/PrivatePostgres.h"

// The service with its store in PostgreSQL, which the tool reaches through the network.

namespace keepsafe_test {
namespace {

const std::string RESTORING = "|OPERATIONS|RESTORE|";
const std::string DATABASES = "|KEEPSAFE|ASSETS|databases|";
const std::string MACHINE = "|KEEPSAFE|ASSETS|vms|mail-02|";

class ServiceOnPostgreSql : public testing::Test {
protected:
    /// The message of a command; empty when it succeeds.
    [[nodiscard]] std::string messageOf(const std::vector<std::string>& arguments) const
    {
        const ProgramResult result = root_.tool(arguments);
        EXPECT_EQ(result.errors.empty(), result.exitStatus == 0);
        return result.errors;
    }

    [[nodiscard]] std::string decisions() const
    {
        return root_.tool({"check", "--operation", RESTORING, "--roles=40", DATABASES, MACHINE}).output;
    }
    static std::string decisions(const std::string& aboutDatabases, const std::string& aboutMachine)
    {
        return aboutDatabases + '\t' + DATABASES + '\n' + aboutMachine + '\t' + MACHINE + '\n';
    }

    PrivatePostgres database_;
    RunningService root_{KEEPSAFE_EXAMPLE_POLICIES "/company.json", database_.connectionString()};
};

TEST_F(ServiceOnPostgreSql, KeepsGrantsAndRegistrationsWhenItAndTheDatabaseAreKilled)
{
    ASSERT_EQ(decisions(), decisions("deny", "deny"));
    EXPECT_EQ(messageOf({"access", "add", DATABASES, "--role=40", "--operations", RESTORING}), "");
    EXPECT_EQ(
        messageOf({"object", "register", MACHINE, "--type=vm", "--grant", "40:" + RESTORING, "--exec=true"}),
        "");
    ASSERT_EQ(decisions(), decisions("allow", "allow"));

    root_.kill();
    database_.kill();
    database_.start();
    root_.start();
    EXPECT_EQ(decisions(), decisions("allow", "allow"));

    EXPECT_THAT(messageOf({"object", "unregister", MACHINE, "--exec=false"}), testing::HasSubstr("8023"));
    EXPECT_EQ(decisions(), decisions("allow", "allow"));
    EXPECT_EQ(messageOf({"object", "unregister", MACHINE, "--exec=true"}), "");
    EXPECT_EQ(decisions(), decisions("allow", "deny"));
}

TEST_F(ServiceOnPostgreSql, RefusesChangesWhileTheDatabaseIsAwayAndTakesThemWhenItIsBack)
{
    database_.stop();
    EXPECT_THAT(messageOf({"access", "add", DATABASES, "--role=40", "--operations", RESTORING}),
                testing::HasSubstr("status 220"));
    EXPECT_EQ(decisions(), decisions("deny", "deny"));
    database_.start();
    EXPECT_EQ(messageOf({"access", "add", DATABASES, "--role=40", "--operations", RESTORING}), "");
    EXPECT_EQ(decisions(), decisions("allow", "deny"));
}

} // namespace
} // namespace keepsafe_test
