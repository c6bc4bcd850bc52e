#include "commandline/parse_arguments.h"
#include "commands/command_line.h"
#include "daemon/run_program.h"

namespace {

using namespace keepsafe_sandbox;

int run(int argc, char** argv)
{
    const std::unique_ptr<CLI::App> program = sandboxCommandLine(KEEPSAFE_VERSION);
    static_cast<void>(parseArguments(*program, argc, argv));
    return EXIT_DONE;
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram("ksrbac-sandbox", [argc, argv] { return run(argc, argv); });
}
