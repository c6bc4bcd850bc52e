/// The documents that the registration service receives.

#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include <cstddef>

#include <boost/lexical_cast.hpp>
#include <jansson.h>

#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/api/Rbac2Json.h>

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char TAG[] = "DefaultObjectRegistrationService::extractRegisteredNamespaces";
constexpr char BULK_TAG[] = "DefaultObjectRegistrationService::extractBulkRegisteredNamespaces";

[[noreturn]] void rejectForm(const json_error_t& error, const char* tag)
{
    logmsgf(Platform::LOG_LEVEL_ERROR, tag, "Error parsing JSON response at position %d: %s", error.position,
            error.text);
    throw EC_exception(Status::UNEXPECTED_RESPONSE);
}

[[noreturn]] void reject(const char* reason, const char* tag)
{
    logmsgf(Platform::LOG_LEVEL_ERROR, tag, "%s", reason);
    throw EC_exception(Status::UNEXPECTED_RESPONSE);
}

ObjectNamespace toNamespace(const char* text) { return boost::lexical_cast<ObjectNamespace>(text); }

/// The name in an element of "registeredObjects".
ObjectNamespace registeredNamespace(json_t* element)
{
    const char* id = nullptr;
    json_error_t error;
    if (json_unpack_ex(element, &error, 0, "{s:s}", "id", &id) != 0) {
        rejectForm(error, TAG);
    }
    return toNamespace(id);
}

} // namespace

DefaultObjectRegistrationService::RegisteredObject
DefaultObjectRegistrationService::extractRegisteredNamespaces(const json_t* record)
{
    const char* id = nullptr;
    const json_t* objects = nullptr;
    json_error_t error;
    if (json_unpack_ex(const_cast<json_t*>(record), &error, 0, "{s:s, s?:{s:{s:o}}}", "id", &id,
                       "relationships", "registeredObjects", "data", &objects) != 0) {
        rejectForm(error, TAG);
    }
    if (objects != nullptr && !json_is_array(objects)) {
        reject("Invalid registration response. data is not an array", TAG);
    }
    RegisteredObject registered;
    registered.first = toNamespace(id);
    for (std::size_t index = 0; index < json_array_size(objects); ++index) {
        registered.second.push_back(registeredNamespace(json_array_get(objects, index)));
    }
    return registered;
}

DefaultObjectRegistrationService::RegisteredObject
DefaultObjectRegistrationService::extractRegisteredNamespaces(const std::string& response)
{
    return extractRegisteredNamespaces(json_loads_shared(response).get());
}

DefaultObjectRegistrationService::RegisteredObjects
DefaultObjectRegistrationService::extractBulkRegisteredNamespaces(const std::string& response)
{
    json_error_t error;
    const boost::shared_ptr<json_t> document(json_loads(response.c_str(), 0, &error), json_decref);
    const json_t* records = nullptr;
    if (!document || json_unpack_ex(document.get(), &error, 0, "{s:o}", "data", &records) != 0) {
        rejectForm(error, BULK_TAG);
    }
    if (!json_is_array(records)) {
        reject("Invalid bulk registration response. data is not an array", BULK_TAG);
    }
    RegisteredObjects registered;
    for (std::size_t index = 0; index < json_array_size(records); ++index) {
        registered.insert(extractRegisteredNamespaces(json_array_get(records, index)));
    }
    return registered;
}

} // namespace Tessara::Keepsafe::Rbac
