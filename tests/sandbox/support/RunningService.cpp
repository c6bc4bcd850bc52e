#include "sandbox/support/RunningService.h"

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

#include "support/own_address.h"

namespace keepsafe_test {

namespace {

void require(const ProgramResult& result)
{
    if (result.exitStatus != 0) {
        throw std::runtime_error(result.errors);
    }
}

} // namespace

RunningService::RunningService(const std::string& policyFile, const std::string& database)
    : address_(ownAddress())
{
    std::vector<std::string> init{"init", "--service", address_};
    if (!database.empty()) {
        init.insert(init.end(), {"--database", database});
    }
    require(sandbox(init));
    require(sandbox({"import", policyFile}));
    start();
}

void RunningService::start()
{
    constexpr std::chrono::seconds limit(60);
    constexpr std::chrono::milliseconds step(2);
    process_.emplace(
        Process::start({sandboxProgram(), "serve", "--root", path()}, outputFile(), errorFile()));
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
