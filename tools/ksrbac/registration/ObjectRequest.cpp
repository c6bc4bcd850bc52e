#include "registration/ObjectRequest.h"

#include <new>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>
#include <jansson.h>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "cli/arguments.h"
#include "exit_status.h"
#include "output/escape.h"
#include "split.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
using Tessara::Keepsafe::Text::split;

namespace {

boost::shared_ptr<json_t> definition(const GrantRequest& grant)
{
    return Rbac::json_pack_shared("{s:i, s:O, s:s}", "roleId", grant.roleId, "operations",
                                  Rbac::json_namespaces_shared(grant.operations).get(), "propagation",
                                  boost::lexical_cast<std::string>(grant.propagation).c_str());
}

boost::shared_ptr<json_t> attributes(const ObjectRequest& request)
{
    const boost::shared_ptr<json_t> definitions = Rbac::json_array_shared();
    for (const GrantRequest& grant : request.grants) {
        if (json_array_append(definitions.get(), definition(grant).get()) != 0) {
            throw std::bad_alloc();
        }
    }
    return request.inherit ? Rbac::json_pack_shared("{s:b, s:O}", "inherit", *request.inherit ? 1 : 0,
                                                    "accessDefinitions", definitions.get())
                           : Rbac::json_pack_shared("{s:O}", "accessDefinitions", definitions.get());
}

} // namespace

GrantRequest parseGrant(const std::string& option, const std::string& text, RoleNames& names)
{
    const std::vector<std::string> parts = split(text, ':');
    if (parts.size() != 2 && parts.size() != 3) {
        throw InputError(option + ": not ROLE:OPERATION,...[:PROPAGATION]: \"" + escapeForMessage(text) +
                         '"');
    }
    GrantRequest grant;
    grant.operations = parseNamespaces(option, parts[1]);
    if (parts.size() == 3) {
        grant.propagation = parsePropagation(option, parts[2]);
    }
    grant.roleId = readServiceRole(names, option, parts[0]);
    return grant;
}

boost::shared_ptr<Rbac::ObjectRegistrationData> registrationData(const ObjectRequest& request)
{
    auto data = boost::make_shared<Rbac::ObjectRegistrationData>();
    data->objectNamespace = request.object;
    data->objectType = request.type;
    data->accessControlAttributes = attributes(request);
    data->relativeChildNamespaces = request.children;
    data->ignoreAlreadyRegistered = request.ignoreRegistered;
    return data;
}

} // namespace ksrbac
