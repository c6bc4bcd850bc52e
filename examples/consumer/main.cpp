#include <exception>
#include <iostream>
#include <set>
#include <string>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>

using namespace Tessara::Keepsafe;
using namespace Tessara::Keepsafe::Rbac;

// consumer ROOT CACHE_ID ROLE OBJECT...: may a caller with this role view each of the objects?
int main(int argc, char** argv)
try {
    if (argc < 5) {
        std::cerr << "usage: consumer ROOT CACHE_ID ROLE OBJECT...\n";
        return 2;
    }
    Platform::setInstallationRoot(argv[1]);
    const Manifest manifest(argv[2], AccessCache::directoryOf(argv[2]));
    OperationCache operationCache; // outlives the client
    DiskAccessControlClient client(manifest.ns, boost::make_shared<AccessCache>(manifest), operationCache);

    const std::set<int> roleIds{std::stoi(argv[3])};
    boost::shared_ptr<const AccessChecker> mayView;
    const int status =
        client.createAccessChecker(roleIds, root_namespaces::operations::VIEW, /*reserved=*/0, mayView);
    if (status != 0 || mayView == nullptr) {
        std::cerr << "no checker, status " << status << '\n';
        return 1;
    }
    for (int i = 4; i < argc; ++i) {
        const auto object = boost::lexical_cast<ObjectNamespace>(argv[i]);
        std::cout << (mayView->checkAccess(object) ? "allow" : "deny") << '\t' << object << '\n';
    }
    return 0;
} catch (const std::exception& error) { // no answer is a denial
    std::cerr << error.what() << '\n';
    return 1;
}
