#ifndef KEEPSAFE_TESTS_SANDBOX_SUPPORT_RUNNINGSERVICE_H
#define KEEPSAFE_TESTS_SANDBOX_SUPPORT_RUNNINGSERVICE_H

#include <optional>
#include <string>

#include <sys/types.h>

#include "sandbox/support/SandboxRoot.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// The access-control service as a separate process, `ksrbac-sandbox serve`, with the root that it keeps,
/// on a loopback address that no other test process takes. The library's clients find it, because the root is
/// this process's. Throws `std::runtime_error` with the program's messages when something does not succeed.
class RunningService : public SandboxRoot {
public:
    /// Makes the root, imports the policy of the file and starts the service. `database` is the ODBC
    /// connection string of its database; without it, it has a SQLite file.
    explicit RunningService(const std::string& policyFile, const std::string& database = "");

    /// Returns when clients can connect.
    void start();
    /// SIGTERM; the exit status.
    int stop();
    /// SIGKILL, and waits for the end.
    void kill();
    /// For `kill` by another thread than the one that uses the service: SIGKILL without waiting.
    void killNow() const { process_->kill(); }

    [[nodiscard]] pid_t pid() const { return process_->pid(); }
    [[nodiscard]] const std::string& address() const noexcept { return address_; }
    /// What the service has printed since it was started.
    [[nodiscard]] std::string output() const { return readFile(outputFile()); }
    [[nodiscard]] std::string errors() const { return readFile(errorFile()); }

private:
    [[nodiscard]] std::string outputFile() const { return logs_.path("output"); }
    [[nodiscard]] std::string errorFile() const { return logs_.path("errors"); }

    std::string address_;
    TempDir logs_;
    std::optional<Process> process_;
};

} // namespace keepsafe_test

#endif
