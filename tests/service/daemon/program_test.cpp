// ksrbacd as a process, started as a service manager starts it and asked by the library's clients.

#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/rbac/api/Roles.h>

#include "service/daemon/ServiceProgram.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::Role;
using Tessara::Keepsafe::Rbac::RoleAPI;
using testing::HasSubstr;
using testing::StartsWith;

TEST_F(ServiceProgram, AnswersFromItsReadinessToASignal)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        Process process = started();
        EXPECT_EQ(readFile(root_.path("output")), "listening on https://" + address_ + ":1556\n");
        const Role role = RoleAPI().create_role("role of signal " + std::to_string(signal), "");
        EXPECT_THAT(readFile(root_.path("errors")), HasSubstr("http status 201")) << "its log";
        process.signal(signal);
        EXPECT_EQ(process.wait().exitStatus, 0);
    }
    const Process again = started();
    EXPECT_EQ(RoleAPI().get_roles("").size(), 3U) << "role 0 and what was made before";
}

TEST_F(ServiceProgram, IsAloneInItsRootWhicheverProgramOffersTheService)
{
    const Process process = started();
    const std::string running =
        "the service is running for this root (process " + std::to_string(process.pid()) + ")\n";
    const ProgramResult second = runProgram(command());
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_EQ(second.errors, "ksrbacd: " + running);
    EXPECT_EQ(root_.sandbox({"serve"}).errors, "ksrbac-sandbox: " + running);
}

TEST_F(ServiceProgram, NamesWhatIsWrongWithItsConfiguration)
{
    const ProgramResult misspelt = refused("[database]\nconection = \"X\"\n");
    EXPECT_EQ(misspelt.exitStatus, 2);
    EXPECT_EQ(misspelt.errors, "ksrbacd: " + configuration_ + ":2:1: unknown key \"database.conection\"\n");

    const ProgramResult lacking = refused(withoutMasterServer());
    EXPECT_EQ(lacking.exitStatus, 2);
    EXPECT_THAT(lacking.errors, StartsWith("ksrbacd: " + configuration_ + " names no master server"));

    const ProgramResult missing =
        runProgram({KSRBACD_BINARY, "--root", root_.path(), "--config", root_.path("none")});
    EXPECT_EQ(missing.exitStatus, 2);
    EXPECT_EQ(missing.errors, "ksrbacd: " + root_.path("none") + " is missing\n");
}

TEST_F(ServiceProgram, ReadsTheConfigurationOfTheRootUnlessItIsGivenAnother)
{
    const ProgramResult result =
        runProgram({KSRBACD_BINARY, "--root", root_.path(), "--listen", "192.0.2.1:1556"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "ksrbacd: cannot listen on 192.0.2.1:1556: Cannot assign requested address\n");
}

TEST_F(ServiceProgram, NamesAFileThatItCannotUse)
{
    writeFile(root_.path("var/sandbox/tls/server.pem"), "no certificate");
    const ProgramResult result = runProgram(command());
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_THAT(result.errors,
                StartsWith("ksrbacd: " + root_.path("var/sandbox/tls/server.pem") + " cannot be used"));
}

TEST(ServiceProgramUsage, IsShownAndHasAVersion)
{
    const ProgramResult help = runProgram({KSRBACD_BINARY, "--help"});
    EXPECT_EQ(help.exitStatus, 0);
    EXPECT_THAT(help.output, HasSubstr("--config"));
    const ProgramResult version = runProgram({KSRBACD_BINARY, "--version"});
    EXPECT_EQ(version.output, "ksrbacd (keepsafe-rbac) " KEEPSAFE_VERSION "\n");
    EXPECT_EQ(runProgram({KSRBACD_BINARY, "--colour"}).exitStatus, 2);
}

} // namespace
} // namespace keepsafe_test
