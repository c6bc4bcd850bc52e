#include <keepsafe/rbac/api/BaseAPI.h>

#include <array>
#include <utility>

#include <boost/make_shared.hpp>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>

namespace Tessara::Keepsafe::Rbac {

namespace {

std::string masterServer()
{
    std::array<char, 257> name{};
    const int status = db_getservernameEx(name.data(), name.size());
    if (status != Status::SUCCESS) {
        logmsgf(Platform::LOG_LEVEL_ERROR, "get_master", "Couldn't get master server: %d", status);
        throw EC_exception(status);
    }
    return name.data();
}

} // namespace

BaseAPI::BaseAPI()
    : masterServer_(masterServer()), factory_(boost::make_shared<KSClientCURLFactory>(CERT_TYPE_HOST))
{
}

BaseAPI::BaseAPI(boost::shared_ptr<KSClientCURL_BaseFactory> factory)
    : masterServer_(masterServer()), factory_(std::move(factory))
{
}

KSClientCURL_Base* BaseAPI::new_curl() const
{
    return factory_->create(masterServer_, MASTER_SERVER_PORT, CLIENT_KIND_REST);
}

} // namespace Tessara::Keepsafe::Rbac
