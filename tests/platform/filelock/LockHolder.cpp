#include "LockHolder.h"

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "support/spawn.h"

namespace keepsafe_test {

namespace {

std::vector<std::string> holderArguments(const std::string& path, const std::string& type, int timeoutMs,
                                         LockHolder::Options options)
{
    std::vector<std::string> arguments = {FILELOCK_HOLDER, path, type, std::to_string(timeoutMs)};
    if (options == LockHolder::Options::Create || options == LockHolder::Options::CreateUnprivileged) {
        arguments.emplace_back("--create");
    }
    if (options == LockHolder::Options::Unprivileged || options == LockHolder::Options::CreateUnprivileged) {
        arguments.emplace_back("--unprivileged");
    }
    return arguments;
}

} // namespace

Program::Program(const std::vector<std::string>& arguments)
{
    int toProgram[2];
    int fromProgram[2];
    if (pipe2(toProgram, O_CLOEXEC) != 0 || pipe2(fromProgram, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    input_ = toProgram[1];
    output_ = fromProgram[0];
    pid_ = spawn({arguments, toProgram[0], fromProgram[1], Spawn::INHERITED, {}, {}});
    close(toProgram[0]);
    close(fromProgram[1]);
}

Program::~Program()
{
    kill();
    closePipes();
}

std::string Program::readLine()
{
    std::string line;
    char byte = 0;
    while (read(output_, &byte, 1) == 1 && byte != '\n') {
        line += byte;
    }
    return line;
}

std::string Program::readAll()
{
    std::string text;
    char byte = 0;
    while (read(output_, &byte, 1) == 1) {
        text += byte;
    }
    return text;
}

void Program::signal(int number) const
{
    if (pid_ > 0) { // -1 would reach every process
        ::kill(pid_, number);
    }
}

int Program::finish()
{
    close(std::exchange(input_, -1));
    return waitForEnd(std::exchange(pid_, -1));
}

void Program::kill()
{
    if (pid_ > 0) {
        signal(SIGKILL);
        waitForEnd(std::exchange(pid_, -1));
    }
}

void Program::closePipes() noexcept
{
    for (int* pipeEnd : {&input_, &output_}) {
        if (*pipeEnd >= 0) {
            close(std::exchange(*pipeEnd, -1));
        }
    }
}

LockHolder::LockHolder(const std::string& path, const std::string& type, int timeoutMs, Options options)
    : program_(holderArguments(path, type, timeoutMs, options))
{
}

std::string tryInOtherProcess(const std::string& path, const std::string& type)
{
    LockHolder other(path, type, 0);
    std::string outcome = other.outcome();
    other.release();
    return outcome;
}

} // namespace keepsafe_test
