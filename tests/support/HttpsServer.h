#ifndef KEEPSAFE_TESTS_SUPPORT_HTTPSSERVER_H
#define KEEPSAFE_TESTS_SUPPORT_HTTPSSERVER_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/Certificates.h"

namespace keepsafe_test {

/// A request, byte for byte as it came.
struct RecordedRequest {
    std::string method;
    std::string target;
    std::string version; ///< "HTTP/1.1"
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    std::string clientName;  ///< common name of the client's certificate; empty without one
    unsigned connection = 0; ///< the number of the connection, from 1

    /// The value of a header whose name is written exactly so; empty when there is none.
    [[nodiscard]] std::string header(const std::string& name) const;
};

/// The server's side of one connection, for what plays a response.
class ServerConnection {
public:
    virtual ~ServerConnection() = default;
    /// False when the client or the end of the server has closed the connection.
    virtual bool send(const std::string& bytes) = 0;
    /// Waits; false when the connection was closed meanwhile.
    virtual bool pause(std::chrono::milliseconds time) = 0;
    /// Closes with an alert of TLS, as a server does that has nothing more to say.
    virtual void close() = 0;
    /// Closes without the alert, as when the server's process dies.
    virtual void breakOff() = 0;
    /// Makes the client's next read or write fail.
    virtual void reset() = 0;
};

/// Sends a response, or misbehaves.
using Play = std::function<void(ServerConnection& connection, const RecordedRequest& request)>;

/// Plays: a whole response with the length of its body; any bytes; bytes and then the end of the connection.
Play answer(int status, const std::string& body, const std::string& moreHeaders = "");
Play bytes(const std::string& text);
Play bytesThenClose(const std::string& text);
Play bytesThenBreakOff(const std::string& text);
Play bytesThenReset(const std::string& text);
/// The same piece again and again, until the connection is closed.
Play endless(const std::string& before, const std::string& piece, std::chrono::milliseconds pause = {});
/// Nothing, until the connection is closed.
Play silence();

/// An HTTPS server for tests on a loopback address, with one thread for each connection. It records requests
/// and plays responses, however broken. Any thread.
class HttpsServer {
public:
    /// What a connection meets before its first request.
    enum class Greeting { Handshake, Close, Reset, NotTls, Silence };

    struct Settings {
        CertificateFiles certificate;
        std::string clientCa; ///< empty: clients are not asked for a certificate
        bool clientMustHaveCertificate = true;
        bool onlyTls11 = false;
        bool onlyTls12 = false;
        Greeting greeting = Greeting::Handshake;
        bool ipv6 = false;                 ///< on ::1 instead
        std::string address = "127.0.0.1"; ///< another loopback address, for a port that all tests want
        unsigned short port = 0;           ///< 0: one of the kernel's choice
    };

    explicit HttpsServer(const Settings& settings);
    ~HttpsServer();
    HttpsServer(const HttpsServer&) = delete;
    HttpsServer& operator=(const HttpsServer&) = delete;

    [[nodiscard]] int port() const;
    /// Plays for the next requests, in order of arrival; after them, and before any, the usual one: 200,
    /// "{}".
    void playNext(Play play);
    void playAlways(Play play);

    /// All requests that have come whole.
    [[nodiscard]] std::vector<RecordedRequest> requests() const;
    /// Connections that were accepted, and those of them whose handshake succeeded.
    [[nodiscard]] unsigned connections() const;
    [[nodiscard]] unsigned handshakes() const;
    /// Connections that are open; waits until there are only so many or the time is over, and says how many.
    unsigned waitForOpenConnections(unsigned count, std::chrono::seconds limit = std::chrono::seconds(10));
    /// Closes in good order all connections that there are, and waits until they are closed.
    void closeConnections();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace keepsafe_test

#endif
