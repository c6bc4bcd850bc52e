#include <string>

#include <gtest/gtest.h>

#include "sandbox/support/SandboxRoot.h"

// The tool over caches that another program wrote.

namespace keepsafe_test {
namespace {

class SandboxCaches : public testing::Test {
protected:
    [[nodiscard]] std::string directory() const
    {
        return root_.path("wmc/webserver/temp/access-caches/made");
    }

    SandboxRoot root_;
};

TEST_F(SandboxCaches, AGeneratedCacheIsSound)
{
    ASSERT_EQ(root_.sandbox({"generate", "--objects", "20000", "--seed", "7", "--id", "made"}).exitStatus, 0);
    const auto result = root_.tool({"cache", "verify", "made"});
    EXPECT_NE(result.output.find(directory() + ": no faults\n"), std::string::npos) << result.output;
    EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(SandboxCaches, ACompiledPolicyIsSoundAndAnswersAsItSays)
{
    writeFile(root_.path("policy.json"), R"({
        "operations": {"|OPERATIONS|VIEW|": 0, "|OPERATIONS|RESTORE|": 40},
        "roles": [{"id": 17, "name": "Restore operator"}, {"id": -2, "name": "Auditor"}],
        "objects": [{"namespace": "|KEEPSAFE|"}, {"namespace": "|KEEPSAFE|PRIVATE|", "inherit": false}],
        "accessDefinitions": [
            {"object": "|KEEPSAFE|", "role": 17, "propagation": "CHILDREN", "operations": ["|OPERATIONS|RESTORE|"]},
            {"object": "|KEEPSAFE|PRIVATE|", "role": -2, "propagation": "OBJECT", "operations": ["|OPERATIONS|RESTORE|"]}
        ]})");
    const auto compiled = root_.sandbox({"compile", root_.path("policy.json"), "--id", "made"});
    ASSERT_EQ(compiled.exitStatus, 0) << compiled.errors;
    EXPECT_EQ(root_.tool({"cache", "verify", "made"}).exitStatus, 0);
    EXPECT_EQ(root_.tool({"operations"}).output,
              "BIT  OPERATION\n  0  |OPERATIONS|VIEW|\n 40  |OPERATIONS|RESTORE|\n");
    const auto answers = [this](const std::string& roles) {
        return root_
            .tool({"check", "--cache=made", "--operation=|OPERATIONS|RESTORE|", "--roles=" + roles,
                   "|KEEPSAFE|a|", "|KEEPSAFE|PRIVATE|", "|KEEPSAFE|"})
            .output;
    };
    EXPECT_EQ(answers("17"), "allow\t|KEEPSAFE|a|\ndeny\t|KEEPSAFE|PRIVATE|\ndeny\t|KEEPSAFE|\n");
    EXPECT_EQ(answers("-2"), "deny\t|KEEPSAFE|a|\nallow\t|KEEPSAFE|PRIVATE|\ndeny\t|KEEPSAFE|\n");
}

TEST_F(SandboxCaches, ADumpCompilesToACacheWithoutDifferences)
{
    const std::string policy = KEEPSAFE_EXAMPLE_POLICIES "/company.json";
    ASSERT_EQ(root_.sandbox({"compile", policy, "--id", "made"}).exitStatus, 0);
    const auto dump = root_.tool({"cache", "dump", "made"});
    EXPECT_EQ(dump.errors, "");
    ASSERT_EQ(dump.exitStatus, 0);
    const auto compiled = root_.sandbox({"compile", "-", "--id", "again"}, dump.output);
    ASSERT_EQ(compiled.exitStatus, 0) << compiled.errors;

    const auto diff = root_.tool({"cache", "diff", "made", "again"});
    EXPECT_EQ(diff.output + diff.errors, "");
    EXPECT_EQ(diff.exitStatus, 0);
    EXPECT_EQ(root_.tool({"cache", "dump", "again"}).output, dump.output);
    EXPECT_EQ(root_.tool({"cache", "verify", "again"}).exitStatus, 0);

    // Without one of its grants there is a difference.
    std::string less = dump.output;
    const std::size_t definition = less.find("\n  {\"object\":", less.find("\"accessDefinitions\""));
    less.erase(definition, less.find('\n', definition + 1) - definition);
    ASSERT_EQ(root_.sandbox({"compile", "-", "--id", "less"}, less).exitStatus, 0);
    const auto difference = root_.tool({"cache", "diff", "made", "less"});
    EXPECT_EQ(difference.output.substr(0, 8), "revoked\t");
    EXPECT_EQ(difference.exitStatus, 1);
}

} // namespace
} // namespace keepsafe_test
