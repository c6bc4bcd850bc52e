#include "commands/commands.h"
#include "daemon/run_program.h"

namespace {

using namespace keepsafe_sandbox;

int run(int argc, char** argv)
{
    CLI::App program("A stand-in for the components around the library, for development and tests",
                     "ksrbac-sandbox");
    program.set_version_flag("--version", "ksrbac-sandbox (keepsafe-rbac) " KEEPSAFE_VERSION,
                             "Show the version and exit");
    program.require_subcommand(1);
    program.footer("Example:\n"
                   "  ksrbac-sandbox init --root /tmp/ks\n"
                   "  ksrbac-sandbox compile examples/policies/company.json --root /tmp/ks --id company\n"
                   "Exit status: 0 done, 1 the system refused a step, 2 usage or unusable input.");
    addCompileCommand(program);
    addGenerateCommand(program);
    addInitCommand(program);
    addServeCommand(program);
    addTokenCommand(program);
    addCriteriaCommand(program);
    addImportCommand(program);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? EXIT_DONE : EXIT_BAD_INPUT;
    }
    return EXIT_DONE;
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram("ksrbac-sandbox", [argc, argv] { return run(argc, argv); });
}
