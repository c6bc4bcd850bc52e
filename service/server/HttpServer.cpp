#include "server/HttpServer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <deque>
#include <exception>
#include <future>
#include <iterator>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <malloc.h>
#include <sys/socket.h>

#include <keepsafe/platform/log/logmsg.h>

#include "resources/error_documents.h"
#include "server/OpenConnections.h"

namespace keepsafe_service {

namespace {

namespace net = boost::asio;
using boost::system::error_code;
namespace Process = Tessara::Keepsafe::Process;
using Clock = Connection::Clock;

constexpr char SERVER_TAG[] = "HttpServer";
constexpr std::size_t LARGE_BODY = std::size_t(1) << 20U;
/// How often it is looked whether there is room again for connections.
constexpr std::chrono::milliseconds RETRY(50);
constexpr std::chrono::seconds BETWEEN_COMPLAINTS(60);

/// What the system lacks may be there again in a moment.
bool isShortage(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

/// The client has gone before it was accepted, as accept(2) lists it.
bool isClientsFault(int error)
{
    constexpr int ofNetwork[] = {EAGAIN,      EINTR,     ECONNABORTED, EPROTO,       EPERM,      ENETDOWN,
                                 ENOPROTOOPT, EHOSTDOWN, ENONET,       EHOSTUNREACH, EOPNOTSUPP, ENETUNREACH};
    return std::find(std::begin(ofNetwork), std::end(ofNetwork), error) != std::end(ofNetwork);
}

} // namespace

class HttpServer::Server final : public ConnectionHost {
public:
    Server(Entrance entrance, RequestAnswerer answerer, const ServerLimits& limits)
        : where_(std::move(entrance.address)), limits_(limits), answerer_(std::move(answerer)),
          tls_(std::move(entrance.tls)), family_(familyOf(entrance.socket)),
          acceptor_(io_, entrance.socket.release())
    {
    }

    ~Server() override
    {
        io_.stop();
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] const ServerCounts& counts() const noexcept { return counts_; }
    [[nodiscard]] std::size_t bodyBytes() const noexcept { return limits_.bodyBytes - bodies_.left(); }

    bool run()
    {
        accept();
        // One more than answer at a time: there is always one that waits for the clients.
        while (threads_.size() <= limits_.workers) {
            threads_.emplace_back([this] { work(); });
        }
        return hasAnsweredAll_.get_future().get();
    }

    void stop()
    {
        net::post(io_, [this] { end(); });
    }

    bool hasMadeProgress()
    {
        const Sign sign = {turns_, answered_};
        const bool hasAnswered = !isAnyWaiting_ || sign.answered != lastSign_.answered;
        const bool hasTurned = sign.turns != lastSign_.turns;
        lastSign_ = sign;
        net::post(io_, [this] {
            isAnyWaiting_ = !waiting_.empty() && answering_ == limits_.workers;
            ++turns_;
        });
        return hasTurned && hasAnswered;
    }

private:
    struct Job {
        std::shared_ptr<Connection> connection;
        ServiceRequest request;
    };

    /// What `hasMadeProgress` has seen.
    struct Sign {
        std::uint64_t turns = 0;
        std::uint64_t answered = 0;
    };

    static int familyOf(const Process::Descriptor& socket)
    {
        sockaddr_storage address{};
        socklen_t size = sizeof address;
        ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
        return address.ss_family;
    }

    void accept()
    {
        if (!open_.makeRoomForStranger()) {
            return acceptAgainIn(RETRY);
        }
        acceptor_.async_wait(net::posix::stream_descriptor::wait_read, [this](const error_code& error) {
            if (!error) {
                acceptOne();
            }
        });
    }

    void acceptAgainIn(std::chrono::milliseconds time)
    {
        retry_.expires_after(time);
        retry_.async_wait([this](const error_code& error) {
            if (!error && !isEnding_) {
                accept();
            }
        });
    }

    /// Not the library's way to accept, which leaves descriptors open across exec.
    void acceptOne()
    {
        const int descriptor =
            ::accept4(acceptor_.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        const int error = errno;
        if (descriptor != -1) {
            begin(descriptor);
            accept();
        } else if (isClientsFault(error)) {
            accept();
        } else if (isShortage(error)) {
            ++counts_.shortages;
            complain(error);
            acceptAgainIn(RETRY);
        } else {
            throw std::runtime_error("cannot accept connections on " + where_ +
                                     " any more: " + std::generic_category().message(error));
        }
    }

    void begin(int descriptor)
    {
        Connection::Socket socket(io_, net::generic::stream_protocol(family_, 0), descriptor);
        error_code ignored;
        socket.set_option(net::ip::tcp::no_delay(true), ignored); // other kinds of sockets have no delay
        const auto connection = std::make_shared<Connection>(
            std::move(socket), tls_ ? &*tls_ : nullptr, limits_, answerer_.mostBodyBytes, bodies_, *this);
        ++counts_.accepted;
        open_.add(*connection);
        connection->begin();
    }

    void complain(int error)
    {
        if (Clock::now() >= nextComplaint_) {
            nextComplaint_ = Clock::now() + BETWEEN_COMPLAINTS;
            logmsgf(Tessara::Keepsafe::Platform::LOG_LEVEL_ERROR, SERVER_TAG,
                    "cannot accept connections on %s for now: %s", where_.c_str(),
                    std::generic_category().message(error).c_str());
        }
    }

    void welcome() override { open_.makeRoomForClient(); }

    void noteRefusal() override { ++counts_.refused; }

    void answer(const std::shared_ptr<Connection>& connection, ServiceRequest request) override
    {
        waiting_.push_back({connection, std::move(request)});
    }

    void work()
    {
        while (std::optional<Job> job = lead()) {
            const bool wasLarge = job->request.body.size() >= LARGE_BODY;
            const unsigned number = job->connection->respond(answered(job->request));
            ++answered_;
            job->request = {};
            if (wasLarge) {
                ::malloc_trim(0); // the allocator keeps what its document took
            }
            net::post(io_, [this, connection = job->connection, number] {
                --answering_;
                connection->awaitSent(number);
            });
        }
    }

    /// Waits for the clients, as one thread at a time does, until there is a request for this one to answer;
    /// another thread takes over then. So a request is answered by the thread that has received it, as a
    /// rule: to wake a second one takes longer than most answers. Nothing when the server has ended.
    std::optional<Job> lead()
    {
        const std::lock_guard<std::mutex> leader(leader_);
        try {
            while (!io_.stopped() && (waiting_.empty() || answering_ == limits_.workers)) {
                io_.run_one();
            }
        } catch (...) {
            io_.stop();
            hasAnsweredAll_.set_exception(std::current_exception());
        }
        if (io_.stopped()) {
            return std::nullopt;
        }
        Job job = std::move(waiting_.front());
        waiting_.pop_front();
        ++answering_;
        return job;
    }

    [[nodiscard]] ServiceResponse answered(const ServiceRequest& request) const
    {
        try {
            return answerer_.answer(request);
        } catch (...) {
            return responseFor(std::current_exception());
        }
    }

    [[nodiscard]] bool isEnding() const override { return isEnding_; }

    void leave(Connection& connection) override
    {
        open_.remove(connection);
        ++counts_.ended;
        counts_.strangers += connection.phase() == Connection::Phase::Handshake ? 1 : 0;
        if (isEnding_ && open_.isEmpty()) {
            finish();
        }
    }

    void end()
    {
        isEnding_ = true;
        acceptor_.close();
        open_.closeThoseThatWait();
        if (open_.isEmpty()) {
            finish();
        }
        retry_.expires_after(limits_.stop);
        retry_.async_wait([this](const error_code& /*error*/) { finish(); });
    }

    void finish()
    {
        if (!io_.stopped()) {
            io_.stop();
            hasAnsweredAll_.set_value(!open_.isAnyAnswering());
        }
    }

    const std::string where_;
    const ServerLimits limits_;
    const RequestAnswerer answerer_;
    BodyBudget bodies_{limits_.bodyBytes};
    net::io_context io_;
    const net::executor_work_guard<net::io_context::executor_type> work_ = net::make_work_guard(io_);
    std::optional<net::ssl::context> tls_;
    const int family_;
    net::posix::stream_descriptor acceptor_;
    net::steady_timer retry_{io_}; ///< of accepting; at the end, when nothing is waited for any more
    Clock::time_point nextComplaint_;
    OpenConnections open_{limits_};
    ServerCounts counts_;
    std::atomic<std::uint64_t> turns_ = 0;
    std::atomic<std::uint64_t> answered_ = 0;
    std::atomic<bool> isAnyWaiting_ = false;
    Sign lastSign_; ///< of the one thread that asks for progress
    std::atomic<bool> isEnding_ = false;
    std::promise<bool> hasAnsweredAll_;
    std::mutex leader_; ///< guards all of the above that is not constant, once the threads are there
    std::deque<Job> waiting_;
    std::size_t answering_ = 0;
    std::vector<std::thread> threads_;
};

HttpServer::HttpServer(Entrance entrance, RequestAnswerer answerer, const ServerLimits& limits)
    : server_(std::make_unique<Server>(std::move(entrance), std::move(answerer), limits))
{
}

HttpServer::~HttpServer() = default;

bool HttpServer::run() { return server_->run(); }

void HttpServer::stop() { server_->stop(); }

bool HttpServer::hasMadeProgress() { return server_->hasMadeProgress(); }

const ServerCounts& HttpServer::counts() const noexcept { return server_->counts(); }

std::size_t HttpServer::bodyBytes() const noexcept { return server_->bodyBytes(); }

} // namespace keepsafe_service
