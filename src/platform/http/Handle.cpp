#include "Handle.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Descriptor.h"

namespace Tessara::Keepsafe::Platform::http {
namespace {

std::mutex mutex;
void lock() { mutex.lock(); }
void unlock() { mutex.unlock(); }

/// Counted in each child; guarded by the lock, as is whether libcurl was initialised.
unsigned long forkCount = 0;
bool isInitialised = false;

} // namespace

/// All handles of the process. Guarded by the lock.
Handle* Handle::first = nullptr;

const Process::ForkHandlers Handle::forkHandlers(lock, unlock, afterForkInChild);

HandleLock::HandleLock() noexcept { lock(); }
HandleLock::~HandleLock() { unlock(); }

std::unique_ptr<Handle> Handle::make(ConnectionKey key)
{
    {
        const HandleLock guard;
        if (!isInitialised && curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
            return nullptr;
        }
        isInitialised = true;
    }
    CURL* const curl = curl_easy_init();
    if (curl == nullptr) {
        return nullptr;
    }
    try {
        return std::unique_ptr<Handle>(new Handle(std::move(key), curl));
    } catch (...) {
        curl_easy_cleanup(curl);
        throw;
    }
}

Handle::Handle(ConnectionKey key, CURL* curl) : key_(std::move(key)), curl_(curl)
{
    const HandleLock guard;
    next_ = first;
    if (first != nullptr) {
        first->previous_ = this;
    }
    first = this;
}

Handle::~Handle()
{
    curl_easy_cleanup(curl_);
    const HandleLock guard;
    if (next_ != nullptr) {
        next_->previous_ = previous_;
    }
    (previous_ != nullptr ? previous_->next_ : first) = next_;
}

CURLcode Handle::bindSockets() noexcept
{
    CURLcode status = curl_easy_setopt(curl_, CURLOPT_OPENSOCKETFUNCTION, &Handle::openSocket);
    if (status == CURLE_OK) {
        status = curl_easy_setopt(curl_, CURLOPT_OPENSOCKETDATA, this);
    }
    if (status == CURLE_OK) {
        status = curl_easy_setopt(curl_, CURLOPT_CLOSESOCKETFUNCTION, &Handle::closeSocket);
    }
    if (status == CURLE_OK) {
        status = curl_easy_setopt(curl_, CURLOPT_CLOSESOCKETDATA, this);
    }
    return status;
}

curl_socket_t Handle::openSocket(void* self, curlsocktype /*purpose*/, curl_sockaddr* address) noexcept
{
    std::vector<curl_socket_t>& sockets = static_cast<Handle*>(self)->sockets_;
    const HandleLock guard;
    try {
        sockets.reserve(sockets.size() + 1);
    } catch (const std::exception&) {
        return CURL_SOCKET_BAD;
    }
    const curl_socket_t made = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    if (made != CURL_SOCKET_BAD) {
        sockets.push_back(made);
    }
    return made;
}

int Handle::closeSocket(void* self, curl_socket_t socket) noexcept
{
    std::vector<curl_socket_t>& sockets = static_cast<Handle*>(self)->sockets_;
    const HandleLock guard;
    sockets.erase(std::remove(sockets.begin(), sockets.end(), socket), sockets.end());
    return ::close(socket);
}

void Handle::dropSockets(int unconnected) noexcept
{
    abandoned_ = !idle_ || unconnected < 0;
    for (const curl_socket_t socket : sockets_) {
        if (abandoned_ || ::dup3(unconnected, socket, O_CLOEXEC) < 0) {
            abandoned_ = true;
            ::close(socket);
        }
    }
}

void Handle::afterForkInChild() noexcept
{
    ++forkCount;
    const Process::Descriptor unconnected(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    for (Handle* handle = first; handle != nullptr; handle = handle->next_) {
        if (!handle->abandoned_) {
            handle->dropSockets(unconnected.get());
        }
    }
    unlock();
}

unsigned long Handle::forks() noexcept { return forkCount; }

} // namespace Tessara::Keepsafe::Platform::http
