#include <fstream>
#include <iostream>
#include <string>

#include <boost/lexical_cast.hpp>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>

using namespace Tessara::Keepsafe;
using namespace Tessara::Keepsafe::Rbac;

// decision ROOT TOKEN_FILE OBJECT...: may the owner of the session token view each of the objects?
int main(int argc, char** argv)
try {
    Platform::setInstallationRoot(argc > 1 ? argv[1] : "");
    std::string sessionToken;
    std::ifstream(argc > 2 ? argv[2] : "") >> sessionToken;

    boost::shared_ptr<AccessControlClient> client; // one for the process; it may outlive the service's answer
    int status = AccessControlClient::create(root_namespaces::KEEPSAFE, client);
    boost::shared_ptr<const AccessChecker> mayView; // one for each session
    if (status == 0) {
        status = client->createAccessChecker(/*dbConnectionManager=*/nullptr, sessionToken,
                                             root_namespaces::operations::VIEW, /*reserved=*/0, mayView);
    }
    if (mayView == nullptr) { // no answer is a denial
        std::cerr << "status " << status << ": " << getECmsg(status) << '\n';
        return 1;
    }
    for (int i = 3; i < argc; ++i) {
        const auto object = boost::lexical_cast<ObjectNamespace>(argv[i]);
        std::cout << (mayView->checkAccess(object) ? "allow" : "deny") << '\t' << object << '\n';
    }
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
