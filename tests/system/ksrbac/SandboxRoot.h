#ifndef KEEPSAFE_TESTS_SYSTEM_KSRBAC_SANDBOXROOT_H
#define KEEPSAFE_TESTS_SYSTEM_KSRBAC_SANDBOXROOT_H

#include <string>
#include <vector>

#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// A private folder, and the two programs run on it as an installation root.
class SandboxRoot {
public:
    [[nodiscard]] ProgramResult sandbox(std::vector<std::string> arguments,
                                        const std::string& input = "") const
    {
        arguments.insert(arguments.begin(), KSRBAC_SANDBOX_BINARY);
        arguments.insert(arguments.end(), {"--root", path()});
        return runProgram(arguments, input);
    }

    [[nodiscard]] ProgramResult tool(std::vector<std::string> arguments, const std::string& input = "") const
    {
        arguments.insert(arguments.begin(), {KSRBAC_BINARY, "--root", path()});
        return runProgram(arguments, input);
    }

    [[nodiscard]] std::string path() const { return folder_.path(); }
    [[nodiscard]] std::string path(const std::string& relative) const { return folder_.path(relative); }

    /// A session token for the roles, with its line feed.
    [[nodiscard]] std::string issue(const std::string& roles, const std::string& lifetime = "8h") const
    {
        return sandbox({"token", "issue", "--subject=operator1:corp:ldap", "--roles", roles,
                        "--lifetime=" + lifetime})
            .output;
    }

private:
    TempDir folder_;
};

} // namespace keepsafe_test

#endif
