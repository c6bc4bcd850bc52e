#include "ServedRoot.h"

#include <csignal>
#include <stdexcept>
#include <utility>

#include "support/Descriptor.h"

namespace keepsafe_test {

namespace {

void require(const ProgramResult& result)
{
    if (result.exitStatus != 0) {
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
    Pipe pipe;
    service_.emplace(Process::start(
        {{KSRBAC_SANDBOX_BINARY, "serve", "--root", path()}, Command::INHERITED, pipe.writeEnd.get()}));
    pipe.writeEnd.close(); // the service alone holds it: its death ends the wait
    if (readLine(pipe.readEnd) != "listening on https://" + address_ + ":1556") {
        throw std::runtime_error("the service does not start");
    }
}

int ServedRoot::stop()
{
    service_->signal(SIGTERM);
    const int status = service_->wait().exitStatus;
    service_.reset();
    return status;
}

} // namespace keepsafe_test
