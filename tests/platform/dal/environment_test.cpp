/// Environment variables have no influence on which driver is loaded for a program that was given rights.

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/dal/Dal.h>

#include "support/PrivilegedCopy.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using testing::HasSubstr;

constexpr char MEMORY[] = "Driver=SQLite3;Database=:memory:;";

/// A folder for ODBCSYSINI that has the driver manager write a trace.
class HostileFolder : public TempDir {
public:
    HostileFolder() { writeFile(path("odbcinst.ini"), "[ODBC]\nTrace=Yes\nTraceFile=" + trace() + "\n"); }
    [[nodiscard]] std::string trace() const { return path("trace"); }
};

ProgramResult runWith(const std::string& variable, const std::string& program)
{
    return runProgram({"env", variable, program, MEMORY});
}

class DatabaseEnvironment : public testing::Test {
protected:
    void SetUp() override
    {
        if (!PrivilegedCopy::mayBeMade()) {
            GTEST_SKIP() << PrivilegedCopy::NEEDS;
        }
    }
};

TEST_F(DatabaseEnvironment, GivesNoDatabaseToAProgramWithMoreRightsThanItsCaller)
{
    const ProgramResult result = runProgram({PrivilegedCopy(DAL_CONNECT).path(), MEMORY});
    EXPECT_EQ(result.output, std::to_string(Tessara::Dal::STATUS_CONNECT_FAILED) + "\n");
    EXPECT_THAT(result.errors, HasSubstr("DbConnectionManager::connect: no database for a process with more "
                                         "rights than its caller (AT_SECURE)"));
    EXPECT_EQ(runProgram({DAL_CONNECT, MEMORY}).output, "0\n") << "the same program without more rights";
}

TEST_F(DatabaseEnvironment, MakesNoProgramWithMoreRightsWriteATrace)
{
    const HostileFolder folder;
    const ProgramResult refused = runWith("ODBCSYSINI=" + folder.path(), PrivilegedCopy(DAL_CONNECT).path());
    EXPECT_EQ(refused.output, std::to_string(Tessara::Dal::STATUS_CONNECT_FAILED) + "\n");
    EXPECT_FALSE(std::filesystem::exists(folder.trace()));
    runWith("ODBCSYSINI=" + folder.path(), DAL_CONNECT);
    EXPECT_TRUE(std::filesystem::exists(folder.trace())) << "the variable works without more rights";
}

} // namespace
} // namespace keepsafe_test
