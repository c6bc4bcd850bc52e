#ifndef KEEPSAFE_TESTS_SERVICE_SERVER_LISTENERTEST_H
#define KEEPSAFE_TESTS_SERVICE_SERVER_LISTENERTEST_H

#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "server/HttpsListener.h"
#include "service/server/TlsConnection.h"
#include "service/server/bad_requests.h"
#include "support/Certificates.h"
#include "support/Descriptor.h"
#include "support/TempDir.h"
#include "support/own_address.h"

namespace keepsafe_test {

inline constexpr std::size_t MOST_BODY = BAD_REQUESTS_MOST_BODY;

/// What an answer may need for its document, in small pieces.
inline constexpr std::size_t GARBAGE = std::size_t(128) * 1024 * 1024;

inline constexpr std::size_t LARGE = std::size_t(32) * 1024 * 1024;

/// Seconds for a call.
template <typename Call>
double secondsOf(const Call& call)
{
    const auto begin = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// The listener with an answerer that knows nothing of the service, and clients that may send anything.
class Listener : public testing::Test {
protected:
    Listener() { start(); }
    ~Listener() override { stop(); }

    void start(const keepsafe_service::ServerLimits& limits = {})
    {
        listener_ = std::make_unique<keepsafe_service::HttpsListener>(address_, files_, answerer(), limits);
        running_ = std::async(std::launch::async, [this] { return listener_->run(); });
    }
    void restart(const keepsafe_service::ServerLimits& limits)
    {
        stop();
        start(limits);
    }

    /// Whether all requests were answered.
    bool stop()
    {
        if (listener_ == nullptr) {
            return true;
        }
        listener_->stop();
        const bool hasAnsweredAll = running_.get();
        listener_.reset();
        return hasAnsweredAll;
    }

    keepsafe_service::RequestAnswerer answerer()
    {
        return {[this](const keepsafe_service::ServiceRequest& request) { return answer(request); },
                [](const std::string& target) { return target == "/garbage" ? LARGE : MOST_BODY; }};
    }

    keepsafe_service::ServiceResponse answer(const keepsafe_service::ServiceRequest& request)
    {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            requests_.push_back(request.method + ' ' + request.target + ' ' + request.body);
        }
        if (request.target == "/slow") {
            slowBegan_.set_value();
            slowMayEnd_.get_future().wait();
        }
        if (request.target == "/client") {
            return {200, request.client, ""};
        }
        if (request.target == "/large") {
            return {200, std::string(LARGE, 'x'), ""};
        }
        if (request.target == "/garbage") {
            std::vector<std::unique_ptr<std::string>> pieces;
            for (std::size_t bytes = 0; bytes < GARBAGE; bytes += 128) {
                pieces.push_back(std::make_unique<std::string>(100, 'x'));
            }
            kept_.push_back(std::move(pieces.back())); // behind it, nothing can be cut off the heap
            return {200, "{}", ""};
        }
        if (request.target == "/none") {
            return {204, "", ""};
        }
        if (request.target == "/teapot") {
            return {405, "{}", "GET, PUT"};
        }
        return {200, R"({"answer":"0123456789"})", ""};
    }

    std::vector<std::string> requests()
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        return requests_;
    }

    void waitForRequests(std::size_t count)
    {
        while (requests().size() < count) {
            std::this_thread::yield();
        }
    }

    /// A connection of TCP alone.
    [[nodiscard]] Descriptor connectWithoutTls() const
    {
        Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        connectSocket(socket);
        return socket;
    }

    void connectSocket(const Descriptor& socket) const
    {
        sockaddr_in peer = {};
        peer.sin_family = AF_INET;
        peer.sin_port = htons(static_cast<std::uint16_t>(address_.port));
        ::inet_pton(AF_INET, address_.host.c_str(), &peer.sin_addr);
        EXPECT_EQ(::connect(socket.get(), reinterpret_cast<const sockaddr*>(&peer), sizeof peer), 0);
    }

    [[nodiscard]] TlsConnection connect(const CertificateFiles& client, int mostVersion = 0) const
    {
        return TlsConnection(address_.host, address_.port, authority_.file(), client, mostVersion);
    }
    [[nodiscard]] TlsConnection connect() const { return connect(client_); }

    /// The whole response to some bytes, until the listener closes or nothing more comes of a whole one.
    [[nodiscard]] std::string responseTo(const std::string& bytes) const
    {
        TlsConnection connection = connect();
        connection.send(bytes);
        return connection.response();
    }

    const TempDir folder_;
    const CertificateAuthority authority_{folder_.path(), "ca"};
    const keepsafe_service::ListenAddress address_{ownAddress()};
    const CertificateFiles server_ = authority_.issue({"server", "serverAuth", "IP:" + ownAddress()});
    const CertificateFiles client_ = authority_.issueForClient("host");
    const keepsafe_service::ServerTlsFiles files_{server_.certificate, server_.key, authority_.file()};
    std::mutex mutex_;
    std::vector<std::string> requests_;
    std::vector<std::unique_ptr<std::string>> kept_; // by one connection's requests, one after the other
    std::promise<void> slowBegan_;
    std::promise<void> slowMayEnd_;
    std::unique_ptr<keepsafe_service::HttpsListener> listener_;
    std::future<bool> running_;
};

inline const std::string GET = "GET /a%7Cb?c=%20 HTTP/1.1\r\nHost: x\r\n\r\n";

} // namespace keepsafe_test

#endif
