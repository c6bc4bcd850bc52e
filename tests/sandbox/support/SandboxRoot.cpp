#include "sandbox/support/SandboxRoot.h"

namespace keepsafe_test {

ProgramResult SandboxRoot::sandbox(std::vector<std::string> arguments, const std::string& input) const
{
    arguments.insert(arguments.begin(), sandboxProgram());
    arguments.insert(arguments.end(), {"--root", path()});
    return runProgram(arguments, input);
}

ProgramResult SandboxRoot::tool(std::vector<std::string> arguments, const std::string& input) const
{
    arguments.insert(arguments.begin(), {KSRBAC_BINARY, "--root", path()});
    return runProgram(arguments, input);
}

std::string SandboxRoot::issue(const std::string& roles, const std::string& lifetime) const
{
    return sandbox({"token", "issue", "--subject=operator1:corp:ldap", "--roles", roles,
                    "--lifetime=" + lifetime})
        .output;
}

std::string SandboxRoot::sandboxProgram() { return KSRBAC_SANDBOX_BINARY; }

} // namespace keepsafe_test
