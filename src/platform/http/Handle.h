#ifndef KEEPSAFE_SRC_PLATFORM_HTTP_HANDLE_H
#define KEEPSAFE_SRC_PLATFORM_HTTP_HANDLE_H

#include <memory>
#include <string>
#include <vector>

#include <curl/curl.h>

#include "ForkHandlers.h"
#include "TlsFiles.h"

namespace Tessara::Keepsafe::Platform::http {

/// What a connection belongs to. Requests share connections only if all of it is equal.
struct ConnectionKey {
    std::string serverUrl;
    TlsFiles files;

    friend bool operator==(const ConnectionKey& left, const ConnectionKey& right)
    {
        return left.files == right.files && left.serverUrl == right.serverUrl;
    }
};

/// Guards the pool and the sockets of all handles. fork() takes it and releases it in parent and child: in a
/// child, a socket is either known to its handle or was never made. Nothing is logged or read under it.
class HandleLock {
public:
    HandleLock() noexcept;
    ~HandleLock();
    HandleLock(const HandleLock&) = delete;
    HandleLock& operator=(const HandleLock&) = delete;
};

/// A handle of libcurl, which keeps its connection and the CA certificates that it has read from one request
/// to the next. It belongs to one key for its whole life: nothing that it keeps serves another one.
///
/// In a child process, the connections of its parent are still the parent's: one byte from the child, a TLS
/// close alert for example, would break them. So a fork replaces each socket of an idle handle with an
/// unconnected one, and the handle can then be destroyed like any other. A handle that a thread of the parent
/// was using cannot be touched, because that thread has left it in the middle of an operation: its sockets
/// are closed in the child, and the rest of it is never freed.
class Handle {
public:
    /// Null if libcurl cannot make one.
    static std::unique_ptr<Handle> make(ConnectionKey key);
    ~Handle();
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    [[nodiscard]] CURL* curl() const noexcept { return curl_; }
    [[nodiscard]] const ConnectionKey& key() const noexcept { return key_; }

    /// The options with which libcurl asks this handle for its sockets.
    CURLcode bindSockets() noexcept;
    /// Resets all options, and with them everything that they point to.
    void forgetOptions() noexcept { curl_easy_reset(curl_); }

    /// Under the lock: whether no thread uses the handle.
    void setIdle(bool idle) noexcept { idle_ = idle; }
    /// Under the lock: whether a fork left the handle in a state that nobody may touch.
    [[nodiscard]] bool isAbandoned() const noexcept { return abandoned_; }
    /// Under the lock: how many forks lie between this process and the one that loaded the library.
    static unsigned long forks() noexcept;

private:
    Handle(ConnectionKey key, CURL* curl);

    static curl_socket_t openSocket(void* self, curlsocktype purpose, curl_sockaddr* address) noexcept;
    static int closeSocket(void* self, curl_socket_t socket) noexcept;
    static void afterForkInChild() noexcept;
    static const Process::ForkHandlers forkHandlers;
    void dropSockets(int unconnected) noexcept;

    const ConnectionKey key_;
    CURL* const curl_;
    std::vector<curl_socket_t> sockets_;
    bool idle_ = false;
    bool abandoned_ = false;
    Handle* previous_ = nullptr;
    Handle* next_ = nullptr;
    static Handle* first;
};

} // namespace Tessara::Keepsafe::Platform::http

#endif
