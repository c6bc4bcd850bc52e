#include "support/HttpsServer.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include "support/ServerSession.h"

namespace keepsafe_test {
namespace {

using server_detail::Bell;
using server_detail::owned;
using server_detail::require;
using server_detail::ServerSession;

struct FreeContext {
    void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
};
using Context = std::unique_ptr<SSL_CTX, FreeContext>;

/// A write to a connection that the client has closed must fail and not end the process. Only for the
/// server's own threads: whether the client is safe from the signal, too, is for tests to see.
void blockBrokenPipeSignal()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

Context makeContext(const HttpsServer::Settings& settings)
{
    Context context(SSL_CTX_new(TLS_server_method()));
    require(context != nullptr, "no TLS context");
    SSL_CTX* const raw = context.get();
    require(SSL_CTX_use_certificate_chain_file(raw, settings.certificate.certificate.c_str()) == 1,
            "certificate");
    require(SSL_CTX_use_PrivateKey_file(raw, settings.certificate.key.c_str(), SSL_FILETYPE_PEM) == 1, "key");
    const std::string sessions = "keepsafe";
    SSL_CTX_set_session_id_context(raw, reinterpret_cast<const unsigned char*>(sessions.data()),
                                   static_cast<unsigned int>(sessions.size()));
    if (!settings.clientCa.empty()) {
        require(SSL_CTX_load_verify_file(raw, settings.clientCa.c_str()) == 1, "clients' CA");
        SSL_CTX_set_verify(
            raw, SSL_VERIFY_PEER | (settings.clientMustHaveCertificate ? SSL_VERIFY_FAIL_IF_NO_PEER_CERT : 0),
            nullptr);
    }
    if (settings.onlyTls12) {
        SSL_CTX_set_max_proto_version(raw, TLS1_2_VERSION);
    }
    if (settings.onlyTls11) {
        SSL_CTX_set_min_proto_version(raw, TLS1_VERSION);
        SSL_CTX_set_max_proto_version(raw, TLS1_1_VERSION);
        require(SSL_CTX_set_cipher_list(raw, "DEFAULT@SECLEVEL=0") == 1, "ciphers");
    }
    return context;
}

} // namespace

class HttpsServer::Impl {
public:
    explicit Impl(const Settings& settings)
        : settings_(settings), context_(makeContext(settings)),
          listener_(
              owned(::socket(settings.ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"))
    {
        listen();
        acceptor_ = std::thread([this] { acceptAll(); });
    }

    ~Impl()
    {
        bell_.ring();
        acceptor_.join();
        closeConnections();
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    [[nodiscard]] int port() const { return port_; }

    void playNext(Play play)
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        next_.push_back(std::move(play));
    }

    void playAlways(Play play)
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        usual_ = std::move(play);
    }

    [[nodiscard]] std::vector<RecordedRequest> requests() const
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        return requests_;
    }

    [[nodiscard]] unsigned connections() const { return connections_; }
    [[nodiscard]] unsigned handshakes() const { return handshakes_; }

    unsigned waitForOpenConnections(unsigned count, std::chrono::seconds limit)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, limit, [&] { return open_.size() <= count; });
        return static_cast<unsigned>(open_.size());
    }

    void closeConnections()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const std::list<ServerSession*> ending = open_;
        for (ServerSession* session : ending) {
            session->end();
        }
        changed_.wait(lock, [this, &ending] {
            return std::none_of(ending.begin(), ending.end(), [this](ServerSession* session) {
                return std::find(open_.begin(), open_.end(), session) != open_.end();
            });
        });
    }

private:
    void listen()
    {
        sockaddr_in6 six{};
        six.sin6_family = AF_INET6;
        six.sin6_addr = in6addr_loopback;
        sockaddr_in four{};
        four.sin_family = AF_INET;
        four.sin_port = htons(settings_.port);
        require(::inet_pton(AF_INET, settings_.address.c_str(), &four.sin_addr) == 1, "inet_pton");
        auto* const address =
            settings_.ipv6 ? reinterpret_cast<sockaddr*>(&six) : reinterpret_cast<sockaddr*>(&four);
        socklen_t size = settings_.ipv6 ? sizeof six : sizeof four;
        const int yes = 1;
        require(::setsockopt(listener_.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0, "setsockopt");
        require(::bind(listener_.get(), address, size) == 0, "bind");
        require(::listen(listener_.get(), SOMAXCONN) == 0, "listen");
        require(::getsockname(listener_.get(), address, &size) == 0, "getsockname");
        port_ = ntohs(settings_.ipv6 ? six.sin6_port : four.sin_port);
    }

    void acceptAll()
    {
        while (bell_.waitFor(listener_.get()) == Bell::Outcome::Ready) {
            const int socket = ::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC);
            if (socket < 0) {
                continue;
            }
            const int on = 1;
            ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            const std::lock_guard<std::mutex> guard(mutex_);
            joinEnded();
            sessions_.emplace_back(socket, ++connections_);
            ServerSession& session = sessions_.back();
            open_.push_back(&session);
            threads_.emplace_back([this, &session] { serve(session); });
        }
    }

    /// Their stacks would fill the address space of a server of ten thousands of connections.
    void joinEnded()
    {
        for (const std::thread::id id : ended_) {
            const auto thread = std::find_if(threads_.begin(), threads_.end(),
                                             [id](const std::thread& each) { return each.get_id() == id; });
            thread->join();
            threads_.erase(thread);
        }
        ended_.clear();
    }

    void serve(ServerSession& session)
    {
        blockBrokenPipeSignal();
        greet(session);
        while (session.isOpen()) {
            RecordedRequest request;
            if (!session.receive(request)) {
                session.close();
                break;
            }
            const Play play = record(request);
            play(session, request);
        }
        const std::lock_guard<std::mutex> guard(mutex_);
        open_.remove(&session);
        session.release();
        ended_.push_back(std::this_thread::get_id());
        changed_.notify_all();
    }

    void greet(ServerSession& session)
    {
        switch (settings_.greeting) {
        case Greeting::Handshake:
            handshakes_ += session.handshake(context_.get()) ? 1 : 0;
            break;
        case Greeting::Close:
            session.breakOff();
            break;
        case Greeting::Reset:
            // Before that, the client may not even have seen that it is connected.
            static_cast<void>(session.readable());
            session.reset();
            break;
        case Greeting::NotTls:
            session.sendWithoutTls("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
            break;
        case Greeting::Silence:
            session.listenOnly();
            break;
        }
    }

    Play record(const RecordedRequest& request)
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        requests_.push_back(request);
        if (next_.empty()) {
            return usual_;
        }
        Play play = std::move(next_.front());
        next_.pop_front();
        return play;
    }

    const Settings settings_;
    const Context context_;
    Descriptor listener_;
    int port_ = 0;
    Bell bell_;
    std::atomic<unsigned> connections_{0};
    std::atomic<unsigned> handshakes_{0};

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Play> next_;
    Play usual_ = answer(200, "{}");
    std::vector<RecordedRequest> requests_;
    std::list<ServerSession> sessions_;
    std::list<ServerSession*> open_;
    std::list<std::thread> threads_;
    std::vector<std::thread::id> ended_;
    std::thread acceptor_;
};

HttpsServer::HttpsServer(const Settings& settings) : impl_(std::make_unique<Impl>(settings)) {}
HttpsServer::~HttpsServer() = default;
int HttpsServer::port() const { return impl_->port(); }
void HttpsServer::playNext(Play play) { impl_->playNext(std::move(play)); }
void HttpsServer::playAlways(Play play) { impl_->playAlways(std::move(play)); }
std::vector<RecordedRequest> HttpsServer::requests() const { return impl_->requests(); }
unsigned HttpsServer::connections() const { return impl_->connections(); }
unsigned HttpsServer::handshakes() const { return impl_->handshakes(); }
unsigned HttpsServer::waitForOpenConnections(unsigned count, std::chrono::seconds limit)
{
    return impl_->waitForOpenConnections(count, limit);
}
void HttpsServer::closeConnections() { impl_->closeConnections(); }

} // namespace keepsafe_test
