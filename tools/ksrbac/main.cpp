#include <csignal>

#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "application.h"
#include "exit_status.h"
#include "io/ByteSink.h"
#include "io/Console.h"

namespace {

/// A standard descriptor that the caller left closed would be given to the next file that is opened, and
/// results would go into a log or a cache file would be taken for input. It is replaced by a descriptor that
/// permits nothing, so that using it is an error, as it should be.
bool occupyStandardDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) != -1) {
            continue;
        }
        // The lowest free number is taken, and those below are in use.
        if (open("/dev/null", O_PATH) != descriptor) {
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (!occupyStandardDescriptors()) {
        return static_cast<int>(ksrbac::ExitStatus::OutputFailed);
    }
    // If the reader goes away, the write fails, which has its own exit status.
    (void)std::signal(SIGPIPE, SIG_IGN);
    ksrbac::DescriptorSink results(STDOUT_FILENO);
    ksrbac::DescriptorSink messages(STDERR_FILENO);
    ksrbac::Console console(results, messages, ksrbac::Terminal::ofProcess());
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    return static_cast<int>(ksrbac::runApplication(arguments, console));
}
