#include "LockHolder.h"

#include <utility>

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

Program::Program(const std::vector<std::string>& arguments, Pipe toProgram, Pipe fromProgram)
    : input_(std::move(toProgram.writeEnd)), output_(std::move(fromProgram.readEnd)),
      process_(Process::start({arguments, toProgram.readEnd.get(), fromProgram.writeEnd.get()}))
{
}

ProcessEnd Program::finish()
{
    input_.close();
    return process_.wait();
}

void Program::kill()
{
    process_.kill();
    process_.wait();
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
