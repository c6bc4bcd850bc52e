#include "support/HttpsServer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <list>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace keepsafe_test {
namespace {

struct FreeContext {
    void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
};
struct FreeSsl {
    void operator()(SSL* ssl) const noexcept { SSL_free(ssl); }
};
using Context = std::unique_ptr<SSL_CTX, FreeContext>;
using Ssl = std::unique_ptr<SSL, FreeSsl>;

void require(bool done, const char* what)
{
    if (!done) {
        throw std::system_error(errno, std::generic_category(), std::string("HTTPS server: ") + what);
    }
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) { require(number >= 0, "no descriptor"); }
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    void close() noexcept
    {
        if (number_ >= 0) {
            ::close(number_);
            number_ = -1;
        }
    }
    [[nodiscard]] int number() const noexcept { return number_; }

private:
    int number_;
};

/// Wakes one thread that waits for a descriptor.
class Bell {
public:
    Bell() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    void ring() { require(::eventfd_write(event_.number(), 1) == 0, "no event"); }

    enum class Outcome { Ready, Rung, TimeOut };
    Outcome waitFor(int descriptor, std::chrono::milliseconds limit = std::chrono::milliseconds(-1))
    {
        std::array<pollfd, 2> waiting{{{descriptor, POLLIN, 0}, {event_.number(), POLLIN, 0}}};
        int count = 0;
        do {
            count = ::poll(waiting.data(), waiting.size(), static_cast<int>(limit.count()));
        } while (count < 0 && errno == EINTR);
        if (waiting[1].revents != 0) {
            return Outcome::Rung;
        }
        return count > 0 ? Outcome::Ready : Outcome::TimeOut;
    }

private:
    Descriptor event_;
};

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

std::string clientNameOf(SSL* ssl)
{
    const std::unique_ptr<X509, void (*)(X509*)> certificate(SSL_get1_peer_certificate(ssl), X509_free);
    std::array<char, 256> name{};
    if (certificate) {
        X509_NAME_get_text_by_NID(X509_get_subject_name(certificate.get()), NID_commonName, name.data(),
                                  static_cast<int>(name.size()));
    }
    return name.data();
}

/// One connection, used by its thread alone but for `end`.
class Session final : public ServerConnection {
public:
    Session(int socket, unsigned number) : socket_(socket), number_(number) {}

    [[nodiscard]] unsigned number() const { return number_; }
    [[nodiscard]] bool isOpen() const { return socket_.number() >= 0; }

    /// From any thread: ends whatever its thread waits for.
    void end() { bell_.ring(); }

    bool handshake(SSL_CTX* context)
    {
        ssl_.reset(SSL_new(context));
        const bool done = ssl_ && SSL_set_fd(ssl_.get(), socket_.number()) == 1 && readable() &&
                          SSL_accept(ssl_.get()) == 1;
        if (!done) {
            ERR_clear_error();
            drain();
            breakOff();
        }
        return done;
    }

    /// False when the connection ended before a whole request came.
    bool receive(RecordedRequest& request)
    {
        std::size_t end = 0;
        while ((end = received_.find("\r\n\r\n")) == std::string::npos) {
            if (!readMore()) {
                return false;
            }
        }
        request = parseHead(received_.substr(0, end + 2));
        received_.erase(0, end + 4);
        const std::string length = request.header("Content-Length");
        const std::size_t size = length.empty() ? 0 : std::stoul(length);
        while (received_.size() < size) {
            if (!readMore()) {
                return false;
            }
        }
        request.body = received_.substr(0, size);
        received_.erase(0, size);
        request.clientName = clientNameOf(ssl_.get());
        request.connection = number_;
        return true;
    }

    bool send(const std::string& text) override
    {
        ERR_clear_error();
        return text.empty() ||
               (isOpen() && SSL_write(ssl_.get(), text.data(), static_cast<int>(text.size())) > 0);
    }

    bool pause(std::chrono::milliseconds time) override
    {
        // A client has nothing to say before it has its response: whatever comes is its end.
        return isOpen() && bell_.waitFor(socket_.number(), time) == Bell::Outcome::TimeOut;
    }

    void close() override
    {
        if (isOpen()) {
            SSL_shutdown(ssl_.get());
        }
        breakOff();
    }

    void breakOff() override { socket_.close(); }

    void reset() override
    {
        const linger now{1, 0};
        ::setsockopt(socket_.number(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
        breakOff();
    }

    void sendWithoutTls(const std::string& text)
    {
        static_cast<void>(::send(socket_.number(), text.data(), text.size(), MSG_NOSIGNAL));
        drain();
        breakOff();
    }

    void listenOnly()
    {
        readToTheEnd();
        breakOff();
    }

private:
    static RecordedRequest parseHead(const std::string& head)
    {
        RecordedRequest request;
        const std::size_t firstEnd = head.find("\r\n");
        const std::string first = head.substr(0, firstEnd);
        const std::size_t method = first.find(' ');
        const std::size_t version = first.rfind(' ');
        request.method = first.substr(0, method);
        request.target = first.substr(method + 1, version - method - 1);
        request.version = first.substr(version + 1);
        for (std::size_t at = firstEnd + 2; at < head.size();) {
            const std::size_t end = head.find("\r\n", at);
            const std::string line = head.substr(at, end - at);
            const std::size_t colon = line.find(": ");
            request.headers.emplace_back(line.substr(0, colon), line.substr(colon + 2));
            at = end + 2;
        }
        return request;
    }

    bool readable() { return bell_.waitFor(socket_.number()) == Bell::Outcome::Ready; }

    bool readMore()
    {
        std::array<char, 16384> block;
        if (SSL_pending(ssl_.get()) == 0 && !readable()) {
            return false;
        }
        ERR_clear_error();
        const int size = SSL_read(ssl_.get(), block.data(), static_cast<int>(block.size()));
        if (size > 0) {
            received_.append(block.data(), static_cast<std::size_t>(size));
        }
        return size > 0;
    }

    /// Reads what still comes: closing with unread bytes would reset the connection and lose what was sent.
    void drain()
    {
        ::shutdown(socket_.number(), SHUT_WR);
        readToTheEnd();
    }

    void readToTheEnd()
    {
        std::array<char, 4096> block;
        while (readable() && ::recv(socket_.number(), block.data(), block.size(), 0) > 0) {
        }
    }

    Descriptor socket_;
    const unsigned number_;
    Bell bell_;
    Ssl ssl_;
    std::string received_;
};

} // namespace

std::string RecordedRequest::header(const std::string& name) const
{
    for (const auto& [itsName, value] : headers) {
        if (itsName == name) {
            return value;
        }
    }
    return {};
}

class HttpsServer::Impl {
public:
    explicit Impl(const Settings& settings)
        : settings_(settings), context_(makeContext(settings)),
          listener_(::socket(settings.ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
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
        const std::list<Session*> ending = open_;
        for (Session* session : ending) {
            session->end();
        }
        changed_.wait(lock, [this, &ending] {
            return std::none_of(ending.begin(), ending.end(), [this](Session* session) {
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
        four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const address =
            settings_.ipv6 ? reinterpret_cast<sockaddr*>(&six) : reinterpret_cast<sockaddr*>(&four);
        socklen_t size = settings_.ipv6 ? sizeof six : sizeof four;
        require(::bind(listener_.number(), address, size) == 0, "bind");
        require(::listen(listener_.number(), SOMAXCONN) == 0, "listen");
        require(::getsockname(listener_.number(), address, &size) == 0, "getsockname");
        port_ = ntohs(settings_.ipv6 ? six.sin6_port : four.sin_port);
    }

    void acceptAll()
    {
        while (bell_.waitFor(listener_.number()) == Bell::Outcome::Ready) {
            const int socket = ::accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC);
            if (socket < 0) {
                continue;
            }
            const int on = 1;
            ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            const std::lock_guard<std::mutex> guard(mutex_);
            sessions_.emplace_back(socket, ++connections_);
            Session& session = sessions_.back();
            open_.push_back(&session);
            threads_.emplace_back([this, &session] { serve(session); });
        }
    }

    void serve(Session& session)
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
        changed_.notify_all();
    }

    void greet(Session& session)
    {
        switch (settings_.greeting) {
        case Greeting::Handshake:
            handshakes_ += session.handshake(context_.get()) ? 1 : 0;
            break;
        case Greeting::Close:
            session.breakOff();
            break;
        case Greeting::Reset:
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
    std::list<Session> sessions_;
    std::list<Session*> open_;
    std::list<std::thread> threads_;
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
