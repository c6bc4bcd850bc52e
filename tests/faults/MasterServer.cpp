#include "faults/MasterServer.h"

#include <csignal>
#include <stdexcept>

#include <sys/prctl.h>
#include <unistd.h>

namespace keepsafe_test {

MasterServer::MasterServer(const Play& play)
{
    Pipe ready;
    process_.emplace(Process::fork([&] {
        serve(play, ready);
        return 0;
    }));
    ready.writeEnd.close();
    if (readLine(ready.readEnd) != "ready") {
        throw std::runtime_error("the server does not start");
    }
}

void MasterServer::serve(const Play& play, const Pipe& ready) const
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    HttpsServer server(settings_);
    server.playAlways(play);
    const std::string line = "ready\n";
    if (::write(ready.writeEnd.get(), line.data(), line.size()) == static_cast<ssize_t>(line.size())) {
        for (;;) {
            ::pause();
        }
    }
}

} // namespace keepsafe_test
