#include "Handle.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <curl/curl.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "support/Descriptor.h"
#include "support/Process.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Platform::http::Handle;

/// A port of this machine that refuses connections as long as this object has it.
class RefusingPort {
public:
    RefusingPort()
    {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const address = reinterpret_cast<sockaddr*>(&address_);
        socklen_t size = sizeof address_;
        EXPECT_EQ(::bind(socket_.get(), address, size), 0);
        EXPECT_EQ(::getsockname(socket_.get(), address, &size), 0);
    }

    [[nodiscard]] std::string url() const
    {
        return "http://127.0.0.1:" + std::to_string(ntohs(address_.sin_port)) + "/";
    }

private:
    Descriptor socket_{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    sockaddr_in address_{};
};

bool isCharacterDevice(const Descriptor& descriptor)
{
    struct stat status {};
    return ::fstat(descriptor.get(), &status) == 0 && S_ISCHR(status.st_mode);
}

/// More files than the request had sockets: they get the numbers that are free now.
std::vector<Descriptor> openedNow()
{
    constexpr int FILES = 16;
    std::vector<Descriptor> files;
    std::generate_n(std::back_inserter(files), FILES, [] { return openFile("/dev/null", O_RDONLY); });
    return files;
}

TEST(Handle, LeavesTheNumberOfAClosedSocketToItsNextOwnerInTheChildOfAFork)
{
    const RefusingPort port;
    const std::unique_ptr<Handle> handle = Handle::make({port.url(), {}});
    ASSERT_EQ(handle->bindSockets(), CURLE_OK);
    curl_easy_setopt(handle->curl(), CURLOPT_PROXY, "");
    curl_easy_setopt(handle->curl(), CURLOPT_URL, port.url().c_str());
    ASSERT_EQ(curl_easy_perform(handle->curl()), CURLE_COULDNT_CONNECT);

    const std::vector<Descriptor> files = openedNow();
    EXPECT_TRUE(
        holdsInChild([&files] { return std::all_of(files.begin(), files.end(), isCharacterDevice); }));
}

} // namespace
} // namespace keepsafe_test
