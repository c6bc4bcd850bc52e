#include "SpawnedProgram.h"

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "io/FileDescriptor.h"
#include "support/TempDir.h"
#include "support/spawn.h"

namespace keepsafe_test {

namespace {

ksrbac::FileDescriptor openFile(const std::string& path, int flags)
{
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (descriptor == -1) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return ksrbac::FileDescriptor(descriptor);
}

} // namespace

SpawnedProgram::SpawnedProgram(const std::vector<std::string>& arguments,
                               const StandardDescriptors& descriptors,
                               const std::vector<std::string>& environment)
    : pid_(spawn({arguments, descriptors.input, descriptors.output, descriptors.errors, environment, {}}))
{
}

SpawnedProgram::~SpawnedProgram()
{
    if (pid_ != -1) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

ProgramResult SpawnedProgram::wait()
{
    ProgramResult result;
    result.status = waitForEnd(std::exchange(pid_, -1));
    return result;
}

ProgramResult runToEnd(const std::vector<std::string>& arguments, const std::string& input)
{
    // Files take any amount in any order, where pipes would have to be served at once.
    const TempDir dir;
    writeFile(dir.path("input"), input);
    const auto in = openFile(dir.path("input"), O_RDONLY);
    const auto out = openFile(dir.path("output"), O_WRONLY | O_CREAT);
    const auto err = openFile(dir.path("errors"), O_WRONLY | O_CREAT);
    SpawnedProgram program(arguments, {in.get(), out.get(), err.get()});
    ProgramResult result = program.wait();
    result.output = readFile(dir.path("output"));
    result.errors = readFile(dir.path("errors"));
    return result;
}

} // namespace keepsafe_test
