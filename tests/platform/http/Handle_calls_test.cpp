/// What a handle asks of libcurl and of the system. Some functions here stand in for theirs.

#include "Handle.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <memory>
#include <new>
#include <set>
#include <utility>

#include <curl/curl.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "FailingMemory.h"
#include "HandlePool.h"
#include "support/Process.h"

namespace {

struct Libcurl {
    CURLcode initialisation = CURLE_OK;
    bool hasHandles = true;
    int initialisations = 0;
    int cleanups = 0;
    std::set<CURLoption> refused;
    curl_opensocket_callback openSocket = nullptr;
    curl_closesocket_callback closeSocket = nullptr;
    void* openData = nullptr;
    void* closeData = nullptr;
};

Libcurl libcurl;
int easyHandle = 0;
bool isReplacementRefused = false;

} // namespace

CURLcode curl_global_init(long /*flags*/)
{
    ++libcurl.initialisations;
    return libcurl.initialisation;
}
CURL* curl_easy_init() { return libcurl.hasHandles ? &easyHandle : nullptr; }
void curl_easy_cleanup(CURL* /*handle*/) { ++libcurl.cleanups; }
void curl_easy_reset(CURL* /*handle*/) {}
#undef curl_easy_setopt
// The last named parameter is of an enumeration's type, as libcurl declares it. clang would have it promoted.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs"
CURLcode curl_easy_setopt(CURL* /*handle*/, CURLoption option, ...)
{
    va_list values;
    va_start(values, option);
    if (option == CURLOPT_OPENSOCKETFUNCTION) {
        libcurl.openSocket = va_arg(values, curl_opensocket_callback);
    } else if (option == CURLOPT_OPENSOCKETDATA) {
        libcurl.openData = va_arg(values, void*);
    } else if (option == CURLOPT_CLOSESOCKETFUNCTION) {
        libcurl.closeSocket = va_arg(values, curl_closesocket_callback);
    } else if (option == CURLOPT_CLOSESOCKETDATA) {
        libcurl.closeData = va_arg(values, void*);
    }
    va_end(values);
    return libcurl.refused.count(option) != 0 ? CURLE_UNKNOWN_OPTION : CURLE_OK;
}
#pragma GCC diagnostic pop

int dup3(int from, int to, int flags) noexcept
{
    return isReplacementRefused ? -1 : static_cast<int>(::syscall(SYS_dup3, from, to, flags));
}

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Platform::http::Handle;
using Tessara::Keepsafe::Platform::http::HandleLock;
using Tessara::Keepsafe::Platform::http::HandlePool;

class HandleCalls : public testing::Test {
protected:
    HandleCalls()
    {
        libcurl = Libcurl();
        isReplacementRefused = false;
    }
};

/// What libcurl gets when it asks a handle for a socket.
curl_socket_t openedSocket()
{
    curl_sockaddr address{};
    address.family = AF_INET;
    address.socktype = SOCK_STREAM;
    return libcurl.openSocket(libcurl.openData, CURLSOCKTYPE_IPCXN, &address);
}

/// A handle that libcurl has asked for a socket.
class HandleWithSocket {
public:
    HandleWithSocket()
    {
        EXPECT_EQ(handle_->bindSockets(), CURLE_OK);
        EXPECT_EQ(libcurl.closeData, handle_.get());
        socket_ = openedSocket();
        EXPECT_TRUE(isOpen());
    }
    ~HandleWithSocket() { libcurl.closeSocket(handle_.get(), socket_); }
    HandleWithSocket(const HandleWithSocket&) = delete;
    HandleWithSocket& operator=(const HandleWithSocket&) = delete;

    void openAndCloseAnother() const { EXPECT_EQ(libcurl.closeSocket(handle_.get(), openedSocket()), 0); }
    void setIdle()
    {
        const HandleLock guard;
        handle_->setIdle(true);
    }
    [[nodiscard]] bool isAbandoned() const
    {
        const HandleLock guard;
        return handle_->isAbandoned();
    }
    [[nodiscard]] bool isOpen() const { return ::fcntl(socket_, F_GETFD) != -1; }
    /// Whether the socket's number is that of a socket without a network.
    [[nodiscard]] bool isReplaced() const
    {
        int family = AF_UNSPEC;
        socklen_t size = sizeof family;
        return ::getsockopt(socket_, SOL_SOCKET, SO_DOMAIN, &family, &size) == 0 && family == AF_UNIX &&
               ::fcntl(socket_, F_GETFD) == FD_CLOEXEC;
    }

private:
    const std::unique_ptr<Handle> handle_ = Handle::make({});
    curl_socket_t socket_ = CURL_SOCKET_BAD;
};

/// The first test: the process remembers that libcurl was initialised.
TEST_F(HandleCalls, InitialiseLibcurlUntilThatSucceedsAndThenNoMore)
{
    libcurl.initialisation = CURLE_FAILED_INIT;
    EXPECT_EQ(Handle::make({}), nullptr);
    EXPECT_EQ(Handle::make({}), nullptr);
    libcurl.initialisation = CURLE_OK;
    EXPECT_NE(Handle::make({}), nullptr);
    EXPECT_NE(Handle::make({}), nullptr);
    EXPECT_EQ(libcurl.initialisations, 3);
}

TEST_F(HandleCalls, GiveNothingWhenLibcurlHasNoHandle)
{
    libcurl.hasHandles = false;
    EXPECT_EQ(Handle::make({}), nullptr);
    EXPECT_EQ(libcurl.cleanups, 0);
}

TEST_F(HandleCalls, CleanUpOnceWithMemoryAndWithout)
{
    EXPECT_NE(Handle::make({}), nullptr);
    EXPECT_EQ(libcurl.cleanups, 1);
    {
        const FailingMemory failing(MemoryOf::Cpp, 0);
        EXPECT_THROW(Handle::make({}), std::bad_alloc);
    }
    EXPECT_EQ(libcurl.cleanups, 2);
}

TEST_F(HandleCalls, FailWithTheOptionThatLibcurlRefuses)
{
    const std::unique_ptr<Handle> handle = Handle::make({});
    EXPECT_EQ(handle->bindSockets(), CURLE_OK);
    for (const CURLoption option : {CURLOPT_OPENSOCKETFUNCTION, CURLOPT_OPENSOCKETDATA,
                                    CURLOPT_CLOSESOCKETFUNCTION, CURLOPT_CLOSESOCKETDATA}) {
        libcurl.refused = {option};
        EXPECT_EQ(handle->bindSockets(), CURLE_UNKNOWN_OPTION) << option;
    }
}

TEST_F(HandleCalls, GiveNoSocketThatCannotBeNoted)
{
    const std::unique_ptr<Handle> handle = Handle::make({});
    ASSERT_EQ(handle->bindSockets(), CURLE_OK);
    const FailingMemory failing(MemoryOf::Cpp, 0);
    EXPECT_EQ(openedSocket(), CURL_SOCKET_BAD);
}

TEST_F(HandleCalls, ReplaceTheSocketOfAnIdleHandleInAChild)
{
    HandleWithSocket handle;
    handle.setIdle();
    EXPECT_TRUE(holdsInChild([&] { return handle.isReplaced() && !handle.isAbandoned(); }));
    EXPECT_FALSE(handle.isReplaced());
}

TEST_F(HandleCalls, ReplaceTheSocketThatIsLeftWhenAnotherWasClosed)
{
    HandleWithSocket handle;
    handle.openAndCloseAnother();
    handle.setIdle();
    EXPECT_TRUE(holdsInChild([&] { return handle.isReplaced(); }));
}

TEST_F(HandleCalls, AbandonAHandleInUseInAChildAndCloseItsSocket)
{
    const HandleWithSocket handle;
    EXPECT_TRUE(holdsInChild([&] { return !handle.isOpen() && handle.isAbandoned(); }));
    EXPECT_FALSE(handle.isAbandoned());
}

TEST_F(HandleCalls, AbandonAHandleWhoseSocketCannotBeReplacedAndCloseTheSocket)
{
    HandleWithSocket handle;
    handle.setIdle();
    isReplacementRefused = true;
    EXPECT_TRUE(holdsInChild([&] { return !handle.isOpen() && handle.isAbandoned(); }));
}

TEST_F(HandleCalls, FreeInAChildTheIdleHandlesButThoseThatWereAbandoned)
{
    std::unique_ptr<Handle> handle = Handle::make({});
    ASSERT_EQ(handle->bindSockets(), CURLE_OK);
    const curl_socket_t socket = openedSocket();
    HandlePool::giveBack(std::move(handle));
    for (const bool isRefused : {false, true}) {
        isReplacementRefused = isRefused;
        EXPECT_TRUE(holdsInChild([isRefused] {
            return HandlePool::lend({}) == nullptr && libcurl.cleanups == (isRefused ? 0 : 1);
        })) << isRefused;
    }
    handle = HandlePool::lend({});
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(libcurl.closeSocket(handle.get(), socket), 0);
}

TEST_F(HandleCalls, ReachEachHandleThatIsLeft)
{
    for (const std::size_t destroyed : {0U, 1U, 2U}) {
        std::array<std::unique_ptr<HandleWithSocket>, 3> handles;
        for (std::unique_ptr<HandleWithSocket>& handle : handles) {
            handle = std::make_unique<HandleWithSocket>();
        }
        handles[destroyed].reset();
        EXPECT_TRUE(holdsInChild([&] {
            return std::none_of(handles.begin(), handles.end(),
                                [](const auto& handle) { return handle && handle->isOpen(); });
        })) << destroyed;
    }
}

} // namespace
} // namespace keepsafe_test
