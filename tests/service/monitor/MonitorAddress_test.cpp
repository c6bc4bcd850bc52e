#include "monitor/MonitorAddress.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "errors/InputError.h"
#include "service/monitor/ask_monitor.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::InputError;
using keepsafe_service::MonitorAddress;

std::string faultOf(const std::string& address)
{
    return thrownBy<InputError>([&] { static_cast<void>(MonitorAddress::parse(address)); }).what();
}

TEST(MonitorAddress, IsALoopbackAddressOrASocketInTheFileSystem)
{
    for (const char* const address :
         {"127.0.0.1:9156", "127.255.0.1:1", "[::1]:9156", "unix:/run/x/monitor"}) {
        EXPECT_EQ(MonitorAddress::parse(address).text(), address);
    }
}

TEST(MonitorAddress, IsNothingThatOtherHostsReach)
{
    for (const char* const address :
         {"0.0.0.0:9156", "192.0.2.1:9156", "[::]:9156", "[2001:db8::1]:9156", "[::ffff:127.0.0.1]:9156",
          "localhost:9156", "128.0.0.1:1", "127.1:9156"}) {
        EXPECT_EQ(faultOf(address),
                  "\"" + std::string(address) +
                      "\": monitoring is answered on this host alone: wanted is a loopback "
                      "address and a port, as in 127.0.0.1:9156 or [::1]:9156, or unix:PATH");
    }
    EXPECT_NE(faultOf("127.0.0.1").find("the port is missing"), std::string::npos);
    EXPECT_NE(faultOf("127.0.0.1:0").find("the port is not a number"), std::string::npos);
    EXPECT_EQ(faultOf("unix:"), "\"unix:\": the path of the socket is not absolute");
    EXPECT_EQ(faultOf("unix:run/x"), "\"unix:run/x\": the path of the socket is not absolute");
    const std::string longPath = "unix:/" + std::string(107, 'x');
    EXPECT_EQ(faultOf(longPath), "\"" + longPath + "\": the path of the socket is longer than 107 bytes");
}

TEST(MonitorAddress, OfAPathIsForItsOwnerAndGroup)
{
    const TempDir folder;
    const MonitorAddress address = MonitorAddress::parse("unix:" + folder.path("monitor"));
    const auto socket = address.listen();
    struct stat status {};
    ASSERT_EQ(::stat(folder.path("monitor").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0660U);
    EXPECT_NE(connectToMonitor(address.text()).get(), -1);
}

TEST(MonitorAddress, OfAPathTakesThePlaceOfASocketThatWasLeftThere)
{
    const TempDir folder;
    const MonitorAddress address = MonitorAddress::parse("unix:" + folder.path("monitor"));
    static_cast<void>(address.listen());
    const auto socket = address.listen();
    EXPECT_NE(connectToMonitor(address.text()).get(), -1);
    EXPECT_STREQ(thrownBy<std::runtime_error>([&] { static_cast<void>(address.listen()); }).what(),
                 ("cannot listen on " + address.text() + ": Address already in use").c_str());
}

TEST(MonitorAddress, OfAPathKeepsWhatIsNoSocket)
{
    const TempDir folder;
    writeFile(folder.path("monitor"), "content");
    const MonitorAddress address = MonitorAddress::parse("unix:" + folder.path("monitor"));
    static_cast<void>(thrownBy<std::runtime_error>([&] { static_cast<void>(address.listen()); }));
    EXPECT_EQ(readFile(folder.path("monitor")), "content");
}

} // namespace
} // namespace keepsafe_test
