#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "files/FileError.h"
#include "files/new_file.h"
#include "root/ServiceLock.h"
#include "sandbox/root/TestRoot.h"

namespace {

using keepsafe_sandbox::AlreadyRunning;
using keepsafe_sandbox::FileError;
using keepsafe_sandbox::ServiceLock;

class ServiceLockTest : public testing::Test {
protected:
    ServiceLockTest() { keepsafe_sandbox::ensureFolder(root_.layout.privateFolder(), 0700); }

    std::string refusal() const
    {
        try {
            const ServiceLock second(root_.layout, "an import");
        } catch (const AlreadyRunning& error) {
            return error.what();
        }
        return "no error";
    }

    keepsafe_test::TestRoot root_;
};

TEST_F(ServiceLockTest, TellsASecondOneWhoHasIt)
{
    const ServiceLock first(root_.layout, "the service");
    EXPECT_EQ(refusal(), "the service is running for this root (process " + std::to_string(::getpid()) + ")");
}

TEST_F(ServiceLockTest, IsFreeWhenItsHolderIsGone)
{
    std::optional<ServiceLock> first(std::in_place, root_.layout, "the service, whose text is longer");
    first.reset();
    EXPECT_EQ(refusal(), "no error");
}

TEST_F(ServiceLockTest, IsOneForEachRoot)
{
    const keepsafe_test::TestRoot other;
    keepsafe_sandbox::ensureFolder(other.layout.privateFolder(), 0700);
    const ServiceLock first(other.layout, "the service");
    EXPECT_EQ(refusal(), "no error");
}

TEST_F(ServiceLockTest, SaysWhenItsFileCannotBeMade)
{
    const keepsafe_test::TestRoot unmade;
    EXPECT_THROW(ServiceLock(unmade.layout, "the service"), FileError);
}

} // namespace
