#include "LockHolder.h"

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace keepsafe_test {

namespace {

[[noreturn]] void fail(int error, const char* what)
{
    throw std::system_error(error, std::generic_category(), what);
}

pid_t spawn(const std::vector<std::string>& arguments, int input, int output)
{
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t pid = -1;
    const int error = posix_spawn(&pid, argv.front(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        fail(error, argv.front());
    }
    return pid;
}

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
        fail(errno, "pipe2");
    }
    input_ = toProgram[1];
    output_ = fromProgram[0];
    pid_ = spawn(arguments, toProgram[0], fromProgram[1]);
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
    int status = 0;
    if (waitpid(std::exchange(pid_, -1), &status, 0) < 0) {
        fail(errno, "waitpid");
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void Program::kill()
{
    if (pid_ > 0) {
        signal(SIGKILL);
        waitpid(std::exchange(pid_, -1), nullptr, 0);
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
