#include "commands/clients.h"

#include <exception>
#include <stdexcept>

#include <boost/make_shared.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/Manifest.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/client/StubAccessControlClient.h>

#include "cli/cache_location.h"
#include "commands/usable_cache.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

boost::shared_ptr<const Rbac::AccessCache> openCache(const Rbac::Manifest& manifest)
{
    try {
        return boost::make_shared<Rbac::AccessCache>(manifest);
    } catch (const EC_exception&) {
        throw;
    } catch (const std::runtime_error& error) {
        throw CommandFailure({FailureKind::Cache, manifest.directory + ": " + error.what()});
    }
}

} // namespace

boost::shared_ptr<Rbac::AccessControlClient> openClient(const std::string& idOrDirectory,
                                                        Rbac::OperationCache& operations)
{
    const CacheLocation location = locateCache(idOrDirectory);
    requireUsable(location);
    const Rbac::Manifest manifest(location.id, location.directory);
    return boost::make_shared<Rbac::DiskAccessControlClient>(manifest.ns, openCache(manifest), operations);
}

boost::shared_ptr<Rbac::AccessControlClient> requestClient(const std::string& command,
                                                           const Rbac::ObjectNamespace& objectNamespace)
{
    boost::shared_ptr<Rbac::AccessControlClient> client;
    requireConfiguration(", or name the access cache with --cache");
    askService(command, [&] {
        askService("asking which access cache serves " + objectNamespace.str(), [&] {
            std::exception_ptr cause;
            const int status = Rbac::AccessControlClient::create(objectNamespace, client, cause);
            if (status != Tessara::Keepsafe::Status::SUCCESS) {
                throw ServiceError(explainFailure(status, cause));
            }
        });
    });
    return client;
}

bool isEnforcing(const Rbac::AccessControlClient& client) noexcept
{
    return dynamic_cast<const Rbac::StubAccessControlClient*>(&client) == nullptr;
}

} // namespace ksrbac
