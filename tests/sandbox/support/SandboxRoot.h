#ifndef KEEPSAFE_TESTS_SANDBOX_SUPPORT_SANDBOXROOT_H
#define KEEPSAFE_TESTS_SANDBOX_SUPPORT_SANDBOXROOT_H

#include <string>
#include <vector>

#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// A private installation root, and the two programs run on it. It is this process's installation root, too.
class SandboxRoot : public TempRoot {
public:
    /// Runs a command of ksrbac-sandbox on the root, as in `sandbox({"import", "policy.json"})`.
    [[nodiscard]] ProgramResult sandbox(std::vector<std::string> arguments,
                                        const std::string& input = "") const;
    /// The same for ksrbac.
    [[nodiscard]] ProgramResult tool(std::vector<std::string> arguments, const std::string& input = "") const;

    /// A session token for the roles, with its line feed.
    [[nodiscard]] std::string issue(const std::string& roles, const std::string& lifetime = "8h") const;

    /// The path of ksrbac-sandbox.
    [[nodiscard]] static std::string sandboxProgram();
};

} // namespace keepsafe_test

#endif
