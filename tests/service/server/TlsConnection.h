#ifndef KEEPSAFE_TESTS_SERVICE_SERVER_TLSCONNECTION_H
#define KEEPSAFE_TESTS_SERVICE_SERVER_TLSCONNECTION_H

#include <memory>
#include <string>

#include <openssl/ssl.h>

#include "support/Certificates.h"

namespace keepsafe_test {

/// A client's side of a TLS connection that sends any bytes. Reading gives up after half a minute.
class TlsConnection {
public:
    using Session = std::shared_ptr<SSL_SESSION>;

    /// Connects; a handshake that fails shows when something is sent or read. Without a certificate for empty
    /// `client`. `mostVersion` as OpenSSL's constants, 0 for any.
    TlsConnection(const std::string& address, int port, const std::string& authority,
                  const CertificateFiles& client, int mostVersion = 0, const Session& resumed = nullptr);

    /// False when the connection has ended.
    bool send(const std::string& bytes);
    /// One response with the body that its Content-Length announces; what has come when the connection ends.
    std::string response();
    /// Whether the peer has closed, and sent nothing before that.
    bool isClosed();
    /// The response to some bytes, empty when the connection was refused.
    std::string tryExchange(const std::string& bytes);

    /// To resume by another connection; call it when a response was read.
    [[nodiscard]] Session session() const;
    [[nodiscard]] bool isResumed() const { return SSL_session_reused(tls_.get()) == 1; }

private:
    class Socket {
    public:
        Socket(const std::string& address, int port);
        ~Socket();
        Socket(Socket&& other) noexcept;
        Socket& operator=(Socket&&) = delete;
        [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

    private:
        int descriptor_;
    };
    struct Release {
        void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
        void operator()(SSL* tls) const noexcept { SSL_free(tls); }
    };

    /// One read; false at the end.
    bool readMore();

    Socket socket_;
    std::unique_ptr<SSL_CTX, Release> context_;
    std::unique_ptr<SSL, Release> tls_;
    bool isConnected_ = false;
    std::string received_;
};

} // namespace keepsafe_test

#endif
