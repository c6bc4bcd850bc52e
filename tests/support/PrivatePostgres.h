#ifndef KEEPSAFE_TESTS_SUPPORT_PRIVATEPOSTGRES_H
#define KEEPSAFE_TESTS_SUPPORT_PRIVATEPOSTGRES_H

#include <string>
#include <vector>

#include <sys/types.h>

#include "support/Descriptor.h"

namespace keepsafe_test {

/// A PostgreSQL server of the test's own, in a private folder, that listens on a local socket there. It runs
/// as the user "postgres" when the test runs as root. Server and folder are gone at the end, also when the
/// test dies: a process beside it watches over them.
///
/// The role "tester" is let in without a password and is a superuser; any other role needs its password.
class PrivatePostgres {
public:
    /// Starts the server, with further settings such as "max_connections=3". Throws `std::runtime_error` when
    /// it cannot, naming the Debian package when its programs are missing.
    explicit PrivatePostgres(const std::vector<std::string>& settings = {});
    ~PrivatePostgres();
    PrivatePostgres(const PrivatePostgres&) = delete;
    PrivatePostgres& operator=(const PrivatePostgres&) = delete;

    /// ODBC connection string of "tester".
    [[nodiscard]] std::string connectionString() const;
    /// The same for another role, with its password.
    [[nodiscard]] std::string connectionString(const std::string& role, const std::string& password) const;
    [[nodiscard]] const std::string& folder() const noexcept { return folder_; }

    /// Ends the server and its connections in order. It can be started again.
    void stop();
    void start();
    /// Kills the server and all its processes, as a crash of the machine would. It can be started again.
    void kill();
    /// Sends a signal to the process that accepts connections.
    void signal(int number) const;
    /// The processes that serve connections.
    [[nodiscard]] std::vector<pid_t> backends() const;

private:
    void startWatcher();
    /// Has server and folder taken down, and waits for that.
    void endWatcher();
    void createCluster();
    [[nodiscard]] pid_t postmaster() const;
    [[nodiscard]] std::vector<std::string> serverCommand(const std::string& program,
                                                         std::vector<std::string> arguments) const;

    std::vector<std::string> settings_;
    std::string programs_;
    std::string folder_;
    Pipe toWatcher_;
    Pipe fromWatcher_;
};

} // namespace keepsafe_test

#endif
