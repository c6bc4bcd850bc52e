#include "faults/MasterServer.h"

#include <csignal>
#include <stdexcept>

#include <sys/prctl.h>
#include <unistd.h>

#include <keepsafe/platform/http/KSClientCURL.h>

namespace keepsafe_test {

MasterServer::MasterServer(const Play& play)
{
    writeFile(root_.path("etc/keepsafe.toml"),
              "master_server = \"" + address_ + "\"\n[tls]\ncertificate = \"" + client_.certificate +
                  "\"\nkey = \"" + client_.key + "\"\nca = \"" + authority_.file() + "\"\n");
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
    HttpsServer::Settings settings;
    settings.certificate = server_;
    settings.clientCa = authority_.file();
    settings.address = address_;
    settings.port = MASTER_SERVER_PORT;
    HttpsServer server(settings);
    server.playAlways(play);
    const std::string line = "ready\n";
    if (::write(ready.writeEnd.get(), line.data(), line.size()) == static_cast<ssize_t>(line.size())) {
        for (;;) {
            ::pause();
        }
    }
}

} // namespace keepsafe_test
