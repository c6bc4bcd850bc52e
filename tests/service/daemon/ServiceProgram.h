#ifndef KEEPSAFE_TESTS_SERVICE_DAEMON_SERVICEPROGRAM_H
#define KEEPSAFE_TESTS_SERVICE_DAEMON_SERVICEPROGRAM_H

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sandbox/support/SandboxRoot.h"
#include "service/daemon/NotifySocket.h"
#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"
#include "support/own_address.h"

namespace keepsafe_test {

/// An installation root whose processes look for the service at a private address, and the service's own
/// configuration, which is another file.
class ServiceProgram : public testing::Test {
protected:
    ServiceProgram()
    {
        const ProgramResult made = root_.sandbox({"init", "--service", address_});
        EXPECT_EQ(made.exitStatus, 0) << made.errors;
        writeFile(configuration_, "master_server = \"" + address_ + "\"\n" + withoutMasterServer());
    }

    [[nodiscard]] std::string withoutMasterServer() const
    {
        return "[tls]\ncertificate = \"" + root_.path("var/sandbox/tls/server.pem") + "\"\nkey = \"" +
               root_.path("var/sandbox/tls/server.key") + "\"\nca = \"" + root_.path("etc/tls/ca.pem") +
               "\"\n[log]\nlevel = 4\n" +
               "[database]\nconnection = \"Driver=SQLite3;Database=:memory:;Timeout=10000;\"\n" +
               "on_connect = [\"ATTACH DATABASE '" + root_.path("var/sandbox/auth_main.db") +
               "' AS AUTH_MAIN\"]\n";
    }

    [[nodiscard]] std::vector<std::string> command() const
    {
        return {KSRBACD_BINARY, "--root", root_.path(), "--config", configuration_};
    }

    [[nodiscard]] ProgramResult refused(const std::string& text) const
    {
        writeFile(configuration_, text);
        return runProgram(command());
    }

    /// Starts the service and waits until it says that it is ready.
    [[nodiscard]] Process started(const std::vector<std::string>& options = {}) const
    {
        NotifySocket socket(root_.path("notify"));
        ::setenv("NOTIFY_SOCKET", socket.name().c_str(), 1);
        Process process = start(options);
        ::unsetenv("NOTIFY_SOCKET");
        EXPECT_EQ(socket.receivedBeside("STATUS="), "READY=1") << readFile(root_.path("errors"));
        return process;
    }

    /// Starts the service without waiting for it.
    [[nodiscard]] Process start(const std::vector<std::string>& options = {}) const
    {
        std::vector<std::string> arguments = command();
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Process::start(arguments, root_.path("output"), root_.path("errors"));
    }

    SandboxRoot root_;
    CapturedLog log_{8};
    const std::string address_ = ownAddress();
    const std::string configuration_ = root_.path("etc/ksrbacd.toml");
};

} // namespace keepsafe_test

#endif
