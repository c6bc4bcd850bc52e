// The input is the payload of an authorization token: its role ids are those that a plain walk through the
// JSON finds.

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include <jansson.h>
#include <openssl/err.h>

#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/platform/log/log_sink.h>

#include "require.h"
#include "tokens/TokenSigner.h"

namespace {

using keepsafe_sandbox::base64Url;
using Tessara::Keepsafe::Rbac::JWTHandler;

struct Roles {
    int status;
    std::set<int> ids;
};

Roles rolesOf(const json_t* payload)
{
    if (!json_is_object(payload)) {
        return {7610, {}};
    }
    const json_t* const roles = json_object_get(payload, "roles");
    if (!json_is_array(roles)) {
        return {8002, {}};
    }
    Roles result{0, {}};
    for (std::size_t i = 0; i < json_array_size(roles) && result.status == 0; ++i) {
        const json_t* const role = json_array_get(roles, i);
        if (json_is_integer(role)) {
            const auto low = static_cast<std::uint32_t>(json_integer_value(role));
            result.ids.insert(static_cast<std::int32_t>(low));
        } else {
            result.status = 8002;
        }
    }
    return result;
}

Roles plainly(const std::string& payload)
{
    if (payload.empty()) {
        return {8002, {}};
    }
    json_error_t error;
    json_t* const root = json_loads(payload.c_str(), 0, &error);
    Roles roles = rolesOf(root);
    json_decref(root);
    return roles;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Tessara::Keepsafe::Platform::setLogThreshold(1000);
    const std::string payload(data, data + size);
    const Roles expected = plainly(payload);
    std::set<int> ids;
    const int status = JWTHandler().extractRoleIds("e30." + base64Url(payload) + ".AAAA", ids);
    require(status == expected.status, "the status is that of a plain walk");
    require(ids == expected.ids, "the role ids are those of a plain walk");
    require(ERR_peek_error() == 0, "the error queue is empty");
    return 0;
}
