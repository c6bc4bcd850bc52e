#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "daemon/ServiceLock.h"
#include "sandbox/support/SandboxRoot.h"
#include "support/Process.h"
#include "support/TempDir.h"
#include "support/thrown.h"

/// ksrbac-sandbox import, as it is called.

namespace keepsafe_test {
namespace {

using testing::HasSubstr;

const std::string COMPANY_POLICY = KEEPSAFE_EXAMPLE_POLICIES "/company.json";
const std::string EMPTY = R"({"operations": {}, "roles": [], "objects": [], "accessDefinitions": []})";

class ImportProgram : public testing::Test {
protected:
    ProgramResult run(const std::vector<std::string>& arguments) const { return root_.sandbox(arguments); }

    ProgramResult import(const std::string& policy, const std::vector<std::string>& more = {}) const
    {
        std::vector<std::string> arguments = {"import", policy};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }

    std::string policy(const std::string& document) const
    {
        writeFile(root_.path("policy.json"), document);
        return root_.path("policy.json");
    }

    std::string cache(const std::string& id) const
    {
        return root_.path("wmc/webserver/temp/access-caches/" + id);
    }

    SandboxRoot root_;
};

TEST_F(ImportProgram, StoresAndPublishesAPolicyAndSaysWhat)
{
    run({"init"});
    const ProgramResult result = import(COMPANY_POLICY);

    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, cache("service") + ": generation 1, 38 objects, 32 access definitions, 8 roles, "
                                                "20 operations\n");
}

TEST_F(ImportProgram, PublishesTheSameCacheAsCompile)
{
    run({"init"});
    import(COMPANY_POLICY);
    EXPECT_EQ(run({"compile", COMPANY_POLICY, "--id", "compiled"}).exitStatus, 0);
    for (const std::string file : {"metadata", "objects", "nodes", "segments", "counts", "manifest.json"}) {
        EXPECT_EQ(readFile(cache("service") + "/" + file), readFile(cache("compiled") + "/" + file)) << file;
    }
}

TEST_F(ImportProgram, ReplacesOnlyWhenItIsToldTo)
{
    run({"init"});
    import(COMPANY_POLICY);
    const ProgramResult refused = import(policy(EMPTY));
    EXPECT_EQ(refused.exitStatus, 2);
    EXPECT_EQ(refused.errors, "ksrbac-sandbox: there are 38 objects, 32 access definitions, 8 roles and 20 "
                              "operations already: with --replace, the policy takes their place\n");

    const ProgramResult replaced = import(policy(EMPTY), {"--replace"});
    EXPECT_EQ(replaced.errors, "");
    EXPECT_THAT(replaced.output, HasSubstr("generation 2, 0 objects, 0 access definitions, 0 roles"));
    EXPECT_EQ(import(COMPANY_POLICY).exitStatus, 0) << "nothing was left";
}

TEST_F(ImportProgram, RefusesOtherBitsThanThePublishedOnesUnlessItMayRenumber)
{
    run({"init"});
    run({"compile", COMPANY_POLICY, "--id", "compiled"});
    const std::string other = policy(
        R"({"operations": {"|OPERATIONS|VIEW|": 40}, "roles": [], "objects": [], "accessDefinitions": []})");

    const ProgramResult refused = import(other);
    EXPECT_EQ(refused.exitStatus, 2);
    EXPECT_EQ(refused.errors, "ksrbac-sandbox: operation |OPERATIONS|VIEW|: bit 40 is asked for, but it is "
                              "published with bit 0\n");
    EXPECT_EQ(import(other, {"--renumber"}).exitStatus, 0) << "nothing was stored before";
    EXPECT_THAT(readFile(root_.path("wmc/webserver/temp/operation-cache.json")),
                HasSubstr("\"|OPERATIONS|VIEW|\": 40"));
}

TEST_F(ImportProgram, DoesNothingWhileTheServiceIsRunning)
{
    run({"init"});
    const keepsafe_service::ServiceLock service({root_.path(), "service"}, "the service");
    const ProgramResult result = import(COMPANY_POLICY);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "ksrbac-sandbox: the service is running for this root (process " +
                                 std::to_string(::getpid()) + ")\n");
}

TEST_F(ImportProgram, NeedsARootThatWasMadeAndAPolicyThatCanBeUsed)
{
    const ProgramResult unmade = import(COMPANY_POLICY);
    EXPECT_EQ(unmade.exitStatus, 2);
    EXPECT_THAT(unmade.errors, HasSubstr("etc/keepsafe.toml is missing: run 'ksrbac-sandbox init --root"));

    run({"init"});
    const ProgramResult broken = import(policy("{"));
    EXPECT_EQ(broken.exitStatus, 2);
    EXPECT_THAT(broken.errors, HasSubstr("policy.json: line 1, column 1"));
    EXPECT_EQ(run({"import"}).exitStatus, 2);
    EXPECT_EQ(import(COMPANY_POLICY).exitStatus, 0);
}

TEST_F(ImportProgram, EndsWith1WhenTheDatabaseIsGone)
{
    run({"init"});
    writeFile(root_.path("var/sandbox/auth_main.db"), std::string(4096, 'x'));
    const ProgramResult result = import(COMPANY_POLICY);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.errors, HasSubstr("ksrbac-sandbox: cannot read the table AUTH_MAIN.ACTL_Role"));
}

TEST_F(ImportProgram, ShowsAnExampleWithItsHelp)
{
    EXPECT_THAT(run({"import", "--help"}).output, HasSubstr("Example:\n  ksrbac-sandbox import "));
}

} // namespace
} // namespace keepsafe_test
