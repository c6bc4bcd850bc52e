#ifndef KEEPSAFE_TESTS_SYSTEM_KSRBAC_SERVEDROOT_H
#define KEEPSAFE_TESTS_SYSTEM_KSRBAC_SERVEDROOT_H

#include <optional>
#include <string>

#include "SandboxRoot.h"
#include "support/own_address.h"

namespace keepsafe_test {

/// A private installation root with the example company, and the access-control service that keeps it, as a
/// process of its own on an address of its own.
class ServedRoot : public SandboxRoot {
public:
    /// Makes the root and starts the service. Throws `std::runtime_error` with the sandbox's messages.
    ServedRoot();

    /// Returns when the service can be asked.
    void start();
    /// Ends the service (SIGTERM) and waits for it; its exit status.
    int stop();

    /// The process of the service.
    [[nodiscard]] pid_t servicePid() const { return service_->pid(); }
    [[nodiscard]] const std::string& address() const noexcept { return address_; }

private:
    const std::string address_ = ownAddress();
    std::optional<Process> service_;
};

} // namespace keepsafe_test

#endif
