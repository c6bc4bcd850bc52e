#ifndef KEEPSAFE_TESTS_SANDBOX_SERVICE_RUNNINGSERVICE_H
#define KEEPSAFE_TESTS_SANDBOX_SERVICE_RUNNINGSERVICE_H

#include <optional>
#include <string>
#include <vector>

#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// The access-control service as a process of its own, `ksrbac-sandbox serve`, in a root made by
/// `ksrbac-sandbox init` on a loopback address that no other test process takes. The root is this process's
/// installation root, too, so that the library's clients find the service. Throws `std::runtime_error` with
/// the program's messages when something does not succeed.
class RunningService {
public:
    /// Makes the root. The service runs when `start` was called.
    RunningService();

    /// Runs a command of the sandbox's program on the root, as in `run({"import", "policy.json"})`.
    [[nodiscard]] ProgramResult run(std::vector<std::string> command) const;

    /// Returns when clients can connect.
    void start();
    /// SIGTERM; the exit status.
    int stop();
    /// SIGKILL, and waits for the end.
    void kill();
    /// For `kill` by another thread than the one that uses the service: SIGKILL without waiting.
    void killNow() const { process_->kill(); }

    /// The sandbox's program.
    [[nodiscard]] static std::string program();
    [[nodiscard]] std::string root() const { return root_.path(); }
    [[nodiscard]] const std::string& address() const noexcept { return address_; }
    /// What the service has printed since it was started.
    [[nodiscard]] std::string output() const { return readFile(outputFile()); }
    [[nodiscard]] std::string errors() const { return readFile(errorFile()); }

private:
    [[nodiscard]] std::string outputFile() const { return logs_.path("output"); }
    [[nodiscard]] std::string errorFile() const { return logs_.path("errors"); }

    std::string address_;
    TempRoot root_;
    TempDir logs_;
    std::optional<Process> process_;
};

} // namespace keepsafe_test

#endif
