#include <csignal>

#include <string>
#include <vector>

#include <unistd.h>

#include "application.h"
#include "io/ByteSink.h"
#include "io/Console.h"

int main(int argc, char** argv)
{
    // A reader that goes away shows as an error of the write, which has an exit status of its own.
    std::signal(SIGPIPE, SIG_IGN);
    ksrbac::DescriptorSink results(STDOUT_FILENO);
    ksrbac::DescriptorSink messages(STDERR_FILENO);
    ksrbac::Console console(results, messages);
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    return static_cast<int>(ksrbac::runApplication(arguments, console));
}
