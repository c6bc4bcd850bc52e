#ifndef KSRBAC_PROCESS_SIGNALWATCH_H
#define KSRBAC_PROCESS_SIGNALWATCH_H

#include <array>
#include <csignal>

#include <sys/types.h>

namespace ksrbac {

/// While it lives, the signals by which people end programs (SIGINT, SIGQUIT, SIGTERM, SIGHUP) do not end
/// this one: they are remembered, and those that another process sent go on to the program that is running
/// for it. The terminal sends its own to that program as well, so these need no passing on. A signal that was
/// ignored before stays ignored. One at a time in a process.
class SignalWatch {
public:
    SignalWatch();
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;
    ~SignalWatch();

    /// The number of the last signal that came, or 0.
    [[nodiscard]] int caught() const noexcept;

    /// The program that signals go on to from now on, those included that came since there was none; 0: none.
    void passOnTo(pid_t program) noexcept;

    static constexpr std::array<int, 4> SIGNALS{SIGINT, SIGQUIT, SIGTERM, SIGHUP};

private:
    std::array<struct sigaction, SIGNALS.size()> before_{};
};

} // namespace ksrbac

#endif
