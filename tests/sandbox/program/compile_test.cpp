#include <filesystem>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>

#include "support/Process.h"
#include "support/TempDir.h"

/// ksrbac-sandbox compile, as it is called.

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

const std::string COMPANY = KEEPSAFE_EXAMPLE_POLICIES "/company.json";

class CompileProgram : public testing::Test {
protected:
    static ProgramResult run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), KEEPSAFE_SANDBOX_PROGRAM);
        return runProgram(arguments);
    }

    ProgramResult compile(const std::string& policy, const std::vector<std::string>& more = {}) const
    {
        std::vector<std::string> arguments = {"compile", policy, "--root", dir_.path(), "--id", "id"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }

    /// A policy document in a file.
    std::string policy(const std::string& document) const
    {
        writeFile(dir_.path("policy.json"), document);
        return dir_.path("policy.json");
    }

    std::string cacheDirectory() const { return dir_.path("wmc/webserver/temp/access-caches/id"); }

    /// Every published file with its content, without what the file locks keep beside their files.
    std::map<std::string, std::string> published() const
    {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(dir_.path("wmc"))) {
            if (entry.is_regular_file() && entry.path().parent_path().extension() != ".readers") {
                files[entry.path().string()] = readFile(entry.path().string());
            }
        }
        return files;
    }

    TempDir dir_;
};

TEST_F(CompileProgram, PublishesAPolicyAndSaysWhat)
{
    const ProgramResult result = compile(COMPANY);

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, cacheDirectory() + ": generation 1, 38 objects, 32 access definitions, 8 roles, "
                                                "20 operations\n");
    EXPECT_TRUE(Manifest("id", cacheDirectory()).ns.is_root());
}

TEST_F(CompileProgram, NamesTheCoveredNamespaceInTheManifest)
{
    EXPECT_EQ(compile(COMPANY, {"--covers", "|KEEPSAFE|"}).exitStatus, 0);

    EXPECT_EQ(Manifest("id", cacheDirectory()).ns, ObjectNamespace("KEEPSAFE"));
}

TEST_F(CompileProgram, WritesTheSameBytesAgainButForTheGeneration)
{
    compile(COMPANY);
    std::map<std::string, std::string> first = published();
    compile(COMPANY);

    first[cacheDirectory() + "/metadata"][12] = 2;
    EXPECT_EQ(published(), first);
}

struct RefusedPolicy {
    const char* name;
    std::string document;
    std::string message;

    friend std::ostream& operator<<(std::ostream& stream, const RefusedPolicy& value)
    {
        return stream << value.name;
    }
};

class CompileRefusal : public CompileProgram, public testing::WithParamInterface<RefusedPolicy> {};

INSTANTIATE_TEST_SUITE_P(
    Documents, CompileRefusal,
    testing::Values(
        RefusedPolicy{"NoJson", "{", ": line 1, column 1: string or '}' expected near end of file"},
        RefusedPolicy{
            "UnknownRole",
            R"({"operations": {}, "roles": [], "objects": [{"namespace": "|A|"}], "accessDefinitions":
                    [{"object": "|A|", "role": 3, "propagation": "OBJECT", "operations": []}]})",
            ": accessDefinitions[0].role: role 3 is not among the roles"},
        RefusedPolicy{"BitOutOfRange",
                      R"({"operations": {"|A|": -1}, "roles": [], "objects": [], "accessDefinitions": []})",
                      ": operations[\"|A|\"]: -1 is out of range (0 to 2147483647)"}),
    [](const auto& test) { return test.param.name; });

TEST_P(CompileRefusal, LeavesThePublishedCacheAsItIs)
{
    compile(COMPANY);
    const auto before = published();
    const std::string path = policy(GetParam().document);

    const ProgramResult result = compile(path);

    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "ksrbac-sandbox: " + path + GetParam().message + "\n");
    EXPECT_EQ(published(), before);
}

TEST_F(CompileProgram, RefusesBitsThatContradictThePublishedOnes)
{
    compile(COMPANY);
    const auto before = published();
    const std::string path = policy(
        R"({"operations": {"|OPERATIONS|VIEW|": 40}, "roles": [], "objects": [], "accessDefinitions": []})");

    const ProgramResult result = compile(path);

    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.errors, "ksrbac-sandbox: operation |OPERATIONS|VIEW|: bit 40 is asked for, but it is "
                             "published with bit 0\n");
    EXPECT_EQ(published(), before);
}

TEST_F(CompileProgram, RenumbersWhenAskedTo)
{
    compile(COMPANY);
    const std::string path = policy(
        R"({"operations": {"|OPERATIONS|VIEW|": 1}, "roles": [], "objects": [], "accessDefinitions": []})");

    EXPECT_EQ(compile(path, {"--renumber"}).exitStatus, 0);
    EXPECT_THAT(readFile(dir_.path("wmc/webserver/temp/operation-cache.json")),
                HasSubstr("\"|OPERATIONS|VIEW|\": 1"));
}

TEST_F(CompileProgram, RefusesACoveredNamespaceThatIsNone)
{
    const ProgramResult result = compile(COMPANY, {"--covers", "KEEPSAFE"});

    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.errors, "ksrbac-sandbox: --covers: \"KEEPSAFE\" is not a namespace\n");
}

TEST_F(CompileProgram, ExitsWith2WhenItIsCalledWrongly)
{
    EXPECT_EQ(run({}).exitStatus, 2);
    EXPECT_EQ(run({"compile"}).exitStatus, 2);
    EXPECT_EQ(run({"publish"}).exitStatus, 2);
    EXPECT_EQ(compile(COMPANY, {"--nonsense"}).exitStatus, 2);
    EXPECT_EQ(compile(dir_.path("missing.json")).exitStatus, 2);
    EXPECT_EQ(run({"compile", COMPANY, "--root", dir_.path(), "--id", "a/b"}).exitStatus, 2);
    for (const std::string objects : {"-1", "10000001", "99999999999999999999", "many"}) {
        EXPECT_EQ(run({"generate", "--objects", objects, "--root", dir_.path(), "--id", "x"}).exitStatus, 2);
    }
    EXPECT_FALSE(fs::exists(dir_.path("wmc")));
}

TEST_F(CompileProgram, ExitsWith1WhenTheSystemRefuses)
{
    writeFile(dir_.path("wmc"), "in the way");

    const ProgramResult result = compile(COMPANY);

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.errors, StartsWith("ksrbac-sandbox: cannot open " + dir_.path("wmc") + "/"));
}

TEST_F(CompileProgram, TellsItsVersion)
{
    const ProgramResult result = run({"--version"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "ksrbac-sandbox (keepsafe-rbac) " KEEPSAFE_VERSION "\n");
}

TEST_F(CompileProgram, ShowsAnExampleWithTheHelpOfEveryCommand)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--help"}, {"compile", "--help"}, {"generate", "--help"}}) {
        const ProgramResult result = run(arguments);
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_THAT(result.output, HasSubstr("Example:\n  ksrbac-sandbox "));
    }
}

} // namespace
} // namespace keepsafe_test
