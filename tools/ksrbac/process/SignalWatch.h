#ifndef KSRBAC_PROCESS_SIGNALWATCH_H
#define KSRBAC_PROCESS_SIGNALWATCH_H

#include <array>
#include <csignal>

#include <sys/types.h>

namespace ksrbac {

/// While it lives, the signals that usually end programs (SIGINT, SIGQUIT, SIGTERM, SIGHUP) do not end this
/// one: they are recorded, and those that another process sent are passed on to the running program. The
/// terminal sends its own to that program as well, so these are not passed on. A signal that was ignored
/// before stays ignored. One at a time in a process.
class SignalWatch {
public:
    SignalWatch();
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;
    ~SignalWatch();

    /// The number of the last signal received, or 0.
    [[nodiscard]] int caught() const noexcept;

    /// The program that signals are passed on to from now on, including those received while there was none;
    /// 0: none.
    void passOnTo(pid_t program) noexcept;

    static constexpr std::array<int, 4> SIGNALS{SIGINT, SIGQUIT, SIGTERM, SIGHUP};

private:
    std::array<struct sigaction, SIGNALS.size()> before_{};
};

} // namespace ksrbac

#endif
