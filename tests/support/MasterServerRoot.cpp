#include "support/MasterServerRoot.h"

#include <keepsafe/platform/http/KSClientCURL.h>

#include "support/own_address.h"

namespace keepsafe_test {

MasterServerRoot::MasterServerRoot() : address(ownAddress())
{
    writeFile(configurationFile, configuration());
}

HttpsServer::Settings MasterServerRoot::settings() const
{
    HttpsServer::Settings settings;
    settings.certificate = authority.issue({"server", "serverAuth", "IP:" + address});
    settings.clientCa = authority.file();
    settings.address = address;
    settings.port = MASTER_SERVER_PORT;
    return settings;
}

std::string MasterServerRoot::tlsSection() const
{
    return "[tls]\ncertificate = \"" + client.certificate + "\"\nkey = \"" + client.key + "\"\nca = \"" +
           authority.file() + "\"\n";
}

} // namespace keepsafe_test
