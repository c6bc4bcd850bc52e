#ifndef KSRBAC_PROCESS_QUIETEND_H
#define KSRBAC_PROCESS_QUIETEND_H

#include <array>
#include <chrono>
#include <csignal>

namespace ksrbac {

/// Lets a program that would go on without end be ended by SIGINT or SIGTERM as if it had come to its end:
/// with status 0, and with whole lines. One at a time; where the caller ignores a signal, it stays ignored.
class QuietEnd {
public:
    QuietEnd();
    QuietEnd(const QuietEnd&) = delete;
    QuietEnd& operator=(const QuietEnd&) = delete;
    ~QuietEnd();

    /// During its lifetime a signal ends the process on the spot: nothing is half done, and what the program
    /// waits for may never come. At other times it has a second to come to its end.
    class AtOnce {
    public:
        AtOnce() noexcept;
        AtOnce(const AtOnce&) = delete;
        AtOnce& operator=(const AtOnce&) = delete;
        ~AtOnce();
    };

    /// Waits for a signal or for the time to pass; false when a signal has come. Throws `OutputClosed` when
    /// the reader of standard output has gone away.
    [[nodiscard]] static bool goesOnAfter(std::chrono::milliseconds pause);

private:
    static constexpr std::array<int, 3> SIGNALS{SIGINT, SIGTERM, SIGALRM};
    std::array<struct sigaction, SIGNALS.size()> before_{};
};

} // namespace ksrbac

#endif
