#include "peers/Crew.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <limits>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace keepsafe_bench {

namespace {

struct Span {
    double begin;
    double end;
};

/// Of the machine, the same in all its processes.
double now()
{
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

SocketPair socketPair()
{
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    return {SocketEnd(ends[0]), SocketEnd(ends[1])};
}

/// Whether it went well.
bool runPrinting(const std::function<void(const SocketEnd&)>& work, const SocketEnd& boss) noexcept
{
    try {
        work(boss);
        return true;
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "peers_bench, a worker: %s\n", error.what()));
        boss.shutDown();
        return false;
    }
}

} // namespace

SocketEnd::SocketEnd(SocketEnd&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

SocketEnd::~SocketEnd()
{
    if (descriptor_ != -1) {
        ::close(descriptor_);
    }
}

void SocketEnd::shutDown() const noexcept { ::shutdown(descriptor_, SHUT_RDWR); }

bool SocketEnd::send(const void* data, std::size_t size) const
{
    return ::send(descriptor_, data, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
}

bool SocketEnd::receive(void* data, std::size_t size) const
{
    ssize_t received = -1;
    do {
        received = ::recv(descriptor_, data, size, MSG_WAITALL);
    } while (received == -1 && errno == EINTR);
    return received == static_cast<ssize_t>(size);
}

Worker::Worker(Kind kind, const std::function<void(const SocketEnd&)>& work)
    : Worker(kind, work, socketPair())
{
}

Worker::Worker(Kind kind, const std::function<void(const SocketEnd&)>& work, SocketPair ends)
    : end_(std::move(ends.first))
{
    SocketEnd boss(std::move(ends.second));
    if (kind == Kind::Thread) {
        thread_ = std::thread([work, own = std::make_shared<SocketEnd>(std::move(boss))] {
            static_cast<void>(runPrinting(work, *own));
        });
        return;
    }
    static_cast<void>(std::fflush(stdout));
    const pid_t parent = ::getpid();
    process_ = ::fork();
    if (process_ == -1) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (process_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        const bool isOrphan = ::getppid() != parent;
        ::_exit(!isOrphan && runPrinting(work, boss) ? 0 : 1);
    }
}

Worker::Worker(Worker&& other) noexcept
    : end_(std::move(other.end_)), thread_(std::move(other.thread_)),
      process_(std::exchange(other.process_, -1))
{
}

Worker::~Worker()
{
    end_.shutDown();
    if (thread_.joinable()) {
        thread_.join();
    }
    if (process_ > 0) {
        ::waitpid(process_, nullptr, 0);
    }
}

void Worker::tell(char order) const
{
    if (!end_.send(&order, sizeof order)) {
        throw std::runtime_error("a worker is gone");
    }
}

void Worker::receive(void* data, std::size_t size) const
{
    if (!end_.receive(data, size)) {
        throw std::runtime_error("a worker is gone");
    }
}

Crew::Crew(Worker::Kind kind, unsigned size, const Work& work)
{
    for (unsigned worker = 0; worker < size; ++worker) {
        workers_.emplace_back(kind, [work, worker](const SocketEnd& boss) {
            char order = 0;
            Span span{};
            do {
                span.begin = now();
                work(worker);
                span.end = now();
            } while (boss.send(&span, sizeof span) && boss.receive(&order, sizeof order));
        });
    }
    // A first round of each, which does not count: it opens and maps what the others need.
    for (const Worker& worker : workers_) {
        Span span{};
        worker.receive(&span, sizeof span);
    }
}

double Crew::round() const
{
    for (const Worker& worker : workers_) {
        worker.tell('g');
    }
    Span all{std::numeric_limits<double>::max(), 0};
    for (const Worker& worker : workers_) {
        Span span{};
        worker.receive(&span, sizeof span);
        all = {std::min(all.begin, span.begin), std::max(all.end, span.end)};
    }
    return all.end - all.begin;
}

} // namespace keepsafe_bench
