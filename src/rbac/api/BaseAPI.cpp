#include <keepsafe/rbac/api/BaseAPI.h>

#include <utility>

#include <boost/make_shared.hpp>

#include "exchange.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char MASTER_TAG[] = "get_master";

} // namespace

BaseAPI::BaseAPI()
    : masterServer_(masterServer(MASTER_TAG)),
      factory_(boost::make_shared<KSClientCURLFactory>(CERT_TYPE_HOST))
{
}

BaseAPI::BaseAPI(boost::shared_ptr<KSClientCURL_BaseFactory> factory)
    : masterServer_(masterServer(MASTER_TAG)), factory_(std::move(factory))
{
}

KSClientCURL_Base* BaseAPI::new_curl() const
{
    return newClient(factory_.get(), masterServer_, MASTER_SERVER_PORT, "BaseAPI::new_curl");
}

} // namespace Tessara::Keepsafe::Rbac
