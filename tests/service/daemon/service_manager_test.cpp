#include "daemon/service_manager.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "service/daemon/NotifySocket.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::mentionToServiceManager;
using keepsafe_service::tellServiceManager;

class ServiceManager : public testing::Test {
protected:
    ~ServiceManager() override { ::unsetenv("NOTIFY_SOCKET"); }

    static void announce(const std::string& socket) { ::setenv("NOTIFY_SOCKET", socket.c_str(), 1); }

    TempDir folder_;
};

TEST_F(ServiceManager, IsToldThroughItsSocketInTheFileSystem)
{
    NotifySocket socket(folder_.path("notify"));
    announce(socket.name());
    tellServiceManager("READY=1");
    EXPECT_EQ(socket.received(), "READY=1");
}

TEST_F(ServiceManager, IsToldThroughASocketWithoutAFile)
{
    NotifySocket socket("@" + folder_.path("notify"));
    announce(socket.name());
    tellServiceManager("READY=1");
    EXPECT_EQ(socket.received(), "READY=1");
}

TEST_F(ServiceManager, NeedNotBeThere)
{
    ::unsetenv("NOTIFY_SOCKET");
    EXPECT_NO_THROW(tellServiceManager("READY=1"));
}

TEST_F(ServiceManager, MayMissWhatIsOnlyMentioned)
{
    NotifySocket socket(folder_.path("notify"));
    announce(socket.name());
    constexpr int more = 1000; // than the system keeps for a socket
    for (int i = 0; i < more; ++i) {
        mentionToServiceManager("STATUS=" + std::to_string(i));
    }
    EXPECT_EQ(socket.received(), "STATUS=0");
    announce(folder_.path("none"));
    mentionToServiceManager("STATUS=nobody hears it");
}

TEST_F(ServiceManager, IsNamedWhenItCannotBeReached)
{
    const auto failure = [](const std::string& socket) -> std::string {
        announce(socket);
        return thrownBy<std::runtime_error>([] { tellServiceManager("READY=1"); }).what();
    };
    EXPECT_EQ(failure(folder_.path("none")),
              "cannot tell the service manager at " + folder_.path("none") + ": No such file or directory");
    EXPECT_EQ(failure("/" + std::string(200, 'x')),
              "cannot tell the service manager at /" + std::string(200, 'x') + ": File name too long");
}

} // namespace
} // namespace keepsafe_test
