#ifndef KEEPSAFE_TESTS_SUPPORT_SERVERSESSION_H
#define KEEPSAFE_TESTS_SUPPORT_SERVERSESSION_H

#include <chrono>
#include <memory>
#include <string>

#include <openssl/ssl.h>

#include "support/Descriptor.h"
#include "support/HttpsServer.h"

/// \file
/// The internals of `HttpsServer`.

namespace keepsafe_test::server_detail {

/// Throws `std::system_error` unless it was done.
void require(bool done, const char* what);

/// Owns a descriptor that a system call gave; throws `std::system_error` when it gave none.
Descriptor owned(int descriptor, const char* what);

/// Wakes one thread that waits for a descriptor.
class Bell {
public:
    Bell();
    void ring();
    void close() { event_.close(); }

    enum class Outcome { Ready, Rung, TimeOut };
    Outcome waitFor(int descriptor, std::chrono::milliseconds limit = std::chrono::milliseconds(-1));

private:
    Descriptor event_;
};

/// One connection, used only by its thread, except for `end`.
class ServerSession final : public ServerConnection {
public:
    ServerSession(int socket, unsigned number) : socket_(socket), number_(number) {}

    [[nodiscard]] unsigned number() const { return number_; }
    [[nodiscard]] bool isOpen() const { return socket_.get() != -1; }

    /// From any thread: ends whatever its thread waits for.
    void end() { bell_.ring(); }
    /// When it has been closed, and nobody ends it any more.
    void release()
    {
        bell_.close();
        ssl_.reset();
    }

    /// Waits for something of the client's; false when there will be nothing.
    bool readable() { return bell_.waitFor(socket_.get()) == Bell::Outcome::Ready; }
    /// False when it failed; the connection is then closed.
    bool handshake(SSL_CTX* context);
    /// False when the connection ended before a whole request came.
    bool receive(RecordedRequest& request);

    bool send(const std::string& text) override;
    bool pause(std::chrono::milliseconds time) override;
    void close() override;
    void breakOff() override { socket_.close(); }
    void reset() override;

    void sendWithoutTls(const std::string& text);
    void listenOnly();

private:
    struct Free {
        void operator()(SSL* ssl) const noexcept { SSL_free(ssl); }
    };

    bool readMore();
    void drain();
    void readToTheEnd();

    Descriptor socket_;
    const unsigned number_;
    Bell bell_;
    std::unique_ptr<SSL, Free> ssl_;
    std::string received_;
};

} // namespace keepsafe_test::server_detail

#endif
