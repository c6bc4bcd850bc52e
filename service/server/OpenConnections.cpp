#include "server/OpenConnections.h"

#include <sys/socket.h>

namespace keepsafe_sandbox {

namespace {

/// The place of the `OpenConnections` in a context, and of the same in a connection that it knows.
int newContextIndex() { return SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr); }

int contextIndex()
{
    static const int index = newContextIndex();
    return index;
}

} // namespace

int OpenConnections::exDataIndex()
{
    // The library frees a connection's TLS state before it closes the socket, so the number cannot belong to
    // another connection yet.
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr,
                                                  [](void* parent, void* value, CRYPTO_EX_DATA* /*data*/,
                                                     int /*index*/, long /*number*/, void* /*argument*/) {
                                                      if (value != nullptr) {
                                                          static_cast<OpenConnections*>(value)->closed(
                                                              SSL_get_fd(static_cast<SSL*>(parent)));
                                                      }
                                                  });
    return index;
}

void OpenConnections::onProgress(const SSL* connection, int where, int /*result*/)
{
    if ((where & SSL_CB_HANDSHAKE_START) == 0 || SSL_get_ex_data(connection, exDataIndex()) != nullptr) {
        return;
    }
    auto* const connections =
        static_cast<OpenConnections*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(connection), contextIndex()));
    // The callback is handed a const connection, and it is the library's business whether it is one.
    if (SSL_set_ex_data(const_cast<SSL*>(connection), exDataIndex(), connections) == 1) {
        connections->opened(SSL_get_fd(connection));
    }
}

void OpenConnections::follow(SSL_CTX& context)
{
    SSL_CTX_set_ex_data(&context, contextIndex(), this);
    SSL_CTX_set_info_callback(&context, onProgress);
}

void OpenConnections::opened(int socket)
{
    const std::lock_guard<std::mutex> guard(mutex_);
    isAnswering_[socket] = false;
    endIfWaiting(socket);
}

void OpenConnections::closed(int socket)
{
    const std::lock_guard<std::mutex> guard(mutex_);
    isAnswering_.erase(socket);
}

void OpenConnections::beginRequest(const SSL* connection)
{
    const std::lock_guard<std::mutex> guard(mutex_);
    isAnswering_[SSL_get_fd(connection)] = true;
}

void OpenConnections::endRequest(const SSL* connection)
{
    const int socket = SSL_get_fd(connection);
    const std::lock_guard<std::mutex> guard(mutex_);
    isAnswering_[socket] = false;
    endIfWaiting(socket);
}

void OpenConnections::endWaiting()
{
    const std::lock_guard<std::mutex> guard(mutex_);
    isEnding_ = true;
    for (const auto& connection : isAnswering_) {
        endIfWaiting(connection.first);
    }
}

void OpenConnections::endIfWaiting(int socket) const
{
    // Not while a request is answered: the library sends no response where nothing more can be read.
    if (isEnding_ && !isAnswering_.at(socket)) {
        ::shutdown(socket, SHUT_RD);
    }
}

} // namespace keepsafe_sandbox
