#include "sandbox/service/RunningService.h"

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

#include "support/own_address.h"

namespace keepsafe_test {

RunningService::RunningService() : address_(ownAddress())
{
    const ProgramResult made = run({"init", "--service", address_});
    if (made.exitStatus != 0) {
        throw std::runtime_error("init failed: " + made.errors);
    }
}

ProgramResult RunningService::run(std::vector<std::string> command) const
{
    command.insert(command.begin(), program());
    command.insert(command.end(), {"--root", root_.path()});
    return runProgram(command);
}

std::string RunningService::program() { return KEEPSAFE_SANDBOX_PROGRAM; }

void RunningService::start()
{
    constexpr std::chrono::seconds limit(60);
    constexpr std::chrono::milliseconds step(2);
    process_.emplace(Process::start({program(), "serve", "--root", root_.path()}, outputFile(), errorFile()));
    const auto end = std::chrono::steady_clock::now() + limit;
    while (output().find('\n') == std::string::npos) {
        if (process_->hasEnded() || std::chrono::steady_clock::now() > end) {
            process_.reset();
            throw std::runtime_error("the service does not start: " + errors());
        }
        std::this_thread::sleep_for(step);
    }
}

int RunningService::stop()
{
    process_->signal(SIGTERM);
    const int status = process_->wait().exitStatus;
    process_.reset();
    return status;
}

void RunningService::kill()
{
    process_->kill();
    process_->wait();
    process_.reset();
}

} // namespace keepsafe_test
