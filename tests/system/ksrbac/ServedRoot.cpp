#include "ServedRoot.h"

#include <csignal>
#include <stdexcept>
#include <utility>

#include "Pipe.h"

namespace keepsafe_test {

namespace {

void require(const ProgramResult& result)
{
    if (result.status != 0) {
        throw std::runtime_error(result.errors);
    }
}

} // namespace

ServedRoot::ServedRoot()
{
    require(sandbox({"init", "--service", address_}));
    require(sandbox({"import", KEEPSAFE_EXAMPLE_POLICIES "/company.json"}));
    start();
}

void ServedRoot::start()
{
    std::optional<Pipe> pipe(std::in_place);
    service_.emplace(std::vector<std::string>{KSRBAC_SANDBOX_BINARY, "serve", "--root", path()},
                     StandardDescriptors{STDIN_FILENO, pipe->writeEnd.get(), STDERR_FILENO});
    const ksrbac::FileDescriptor output = std::move(pipe->readEnd);
    pipe.reset(); // the service alone holds the other end: its death ends the wait
    if (readLine(output) != "listening on https://" + address_ + ":1556") {
        throw std::runtime_error("the service does not start");
    }
}

int ServedRoot::stop()
{
    (void)kill(service_->pid(), SIGTERM);
    const int status = service_->wait().status;
    service_.reset();
    return status;
}

} // namespace keepsafe_test
