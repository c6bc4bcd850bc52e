#include "daemon/ServiceLock.h"

#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "files/FileError.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::AlreadyRunning;
using keepsafe_service::CacheLocation;
using keepsafe_service::FileError;
using keepsafe_service::ServiceLock;

class ServiceLockTest : public testing::Test {
protected:
    std::string refusal() const
    {
        return thrownBy<AlreadyRunning>([this] { const ServiceLock second(location_, "an import"); }).what();
    }

    TempDir root_;
    CacheLocation location_{root_.path(), "service"};
};

TEST_F(ServiceLockTest, TellsASecondOneWhoHasIt)
{
    const ServiceLock first(location_, "the service");
    EXPECT_EQ(refusal(), "the service is running for this root (process " + std::to_string(::getpid()) + ")");
}

TEST_F(ServiceLockTest, IsFreeWhenItsHolderIsGone)
{
    std::optional<ServiceLock> first(std::in_place, location_, "the service, whose text is longer");
    first.reset();
    EXPECT_NO_THROW(ServiceLock(location_, "an import"));
}

TEST_F(ServiceLockTest, IsOneForEachRoot)
{
    const TempDir other;
    const ServiceLock first({other.path(), "service"}, "the service");
    EXPECT_NO_THROW(ServiceLock(location_, "an import"));
}

TEST_F(ServiceLockTest, CanBeTakenByNobodyElseAsItsFileIsItsOwnersAlone)
{
    const ServiceLock first(location_, "the service");
    struct stat status = {};
    ASSERT_EQ(::stat((location_.folder() + "/service.lock").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(ServiceLockTest, SaysWhenItsFileCannotBeMade)
{
    writeFile(root_.path("wmc"), "");
    EXPECT_THROW(ServiceLock(location_, "the service"), FileError);
}

} // namespace
} // namespace keepsafe_test
