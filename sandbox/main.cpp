#include "commandline/parse_arguments.h"
#include "commands/command_line.h"
#include "daemon/run_program.h"

namespace {

using keepsafe_service::EXIT_DONE;
using keepsafe_service::parseArguments;

int run(int argc, char** argv)
{
    const std::unique_ptr<CLI::App> program = keepsafe_sandbox::sandboxCommandLine(KEEPSAFE_VERSION);
    static_cast<void>(parseArguments(*program, argc, argv));
    return EXIT_DONE;
}

} // namespace

int main(int argc, char** argv)
{
    return keepsafe_service::runProgram("ksrbac-sandbox", [argc, argv] { return run(argc, argv); });
}
