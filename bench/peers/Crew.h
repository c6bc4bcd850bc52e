#ifndef KEEPSAFE_BENCH_PEERS_CREW_H
#define KEEPSAFE_BENCH_PEERS_CREW_H

#include <cstddef>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace keepsafe_bench {

/// One end of a pair of connected sockets.
class SocketEnd {
public:
    explicit SocketEnd(int descriptor) noexcept : descriptor_(descriptor) {}
    SocketEnd(SocketEnd&& other) noexcept;
    SocketEnd& operator=(SocketEnd&&) = delete;
    ~SocketEnd();

    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }
    /// Ends the connection for both sides, even if other processes have copies of the ends.
    void shutDown() const noexcept;
    /// All or nothing; false when the other side is gone.
    [[nodiscard]] bool send(const void* data, std::size_t size) const;
    [[nodiscard]] bool receive(void* data, std::size_t size) const;

private:
    int descriptor_;
};

using SocketPair = std::pair<SocketEnd, SocketEnd>;

/// A thread or a child process, and the connection to it.
class Worker {
public:
    enum class Kind { Thread, Process };

    /// Runs `work` with the worker's end, once. Its exceptions are printed and end the connection. A process
    /// ends with its parent, and is forked while no other thread runs.
    Worker(Kind kind, const std::function<void(const SocketEnd& boss)>& work);
    Worker(Worker&& other) noexcept;
    Worker& operator=(Worker&&) = delete;
    /// Ends the connection, which must end the work, and waits for it.
    ~Worker();

    /// Throw `std::runtime_error` when the worker is gone.
    void tell(char order) const;
    void receive(void* data, std::size_t size) const;

private:
    Worker(Kind kind, const std::function<void(const SocketEnd& boss)>& work, SocketPair ends);

    SocketEnd end_;
    std::thread thread_;
    pid_t process_ = -1;
};

/// Workers that do the same work at the same time, round by round.
class Crew {
public:
    using Work = std::function<void(unsigned worker)>;

    Crew(Worker::Kind kind, unsigned size, const Work& work);

    /// Nanoseconds from the start of the first to the end of the last.
    [[nodiscard]] double round() const;

private:
    std::vector<Worker> workers_;
};

} // namespace keepsafe_bench

#endif
