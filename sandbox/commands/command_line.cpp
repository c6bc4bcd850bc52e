#include "commands/command_line.h"

#include "commands/commands.h"

namespace keepsafe_sandbox {

std::unique_ptr<CLI::App> sandboxCommandLine(const std::string& version)
{
    auto made = std::make_unique<CLI::App>(
        "A stand-in for the components around the library, for development and tests", "ksrbac-sandbox");
    CLI::App& program = *made;
    program.set_version_flag("--version", "ksrbac-sandbox (keepsafe-rbac) " + version,
                             "Show the version and exit");
    program.require_subcommand(1);
    program.footer("Example:\n"
                   "  ksrbac-sandbox init --root /tmp/ks\n"
                   "  ksrbac-sandbox compile examples/policies/company.json --root /tmp/ks --id company\n"
                   "Exit status: 0 done, 1 the system refused a step, 2 usage or unusable input, 4 standard\n"
                   "output could not be written.");
    addCompileCommand(program);
    addGenerateCommand(program);
    addInitCommand(program);
    addServeCommand(program);
    addTokenCommand(program);
    addCriteriaCommand(program);
    addImportCommand(program);
    return made;
}

} // namespace keepsafe_sandbox
