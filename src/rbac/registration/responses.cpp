/// The documents that the registration service receives.

#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include <cstddef>
#include <string_view>
#include <utility>

#include <boost/lexical_cast.hpp>

#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/api/Rbac2Json.h>

#include "NamespaceReader.h"
#include "fail.h"
#include "load.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using Service = DefaultObjectRegistrationService;

constexpr char SINGLE_TAG[] = "DefaultObjectRegistrationService::extractRegisteredNamespaces";
constexpr char BULK_TAG[] = "DefaultObjectRegistrationService::extractBulkRegisteredNamespaces";

[[noreturn]] void rejectForm(const json_error_t& error, const char* tag)
{
    diagnostics::fail(Status::UNEXPECTED_RESPONSE, tag,
                      "Error parsing JSON response at position " + std::to_string(error.position) + ": " +
                          error.text);
}

/// Reads a record without logging. False, with `error` set, if its form is wrong.
bool readRecord(const json_t* record, NamespaceReader& names, Service::RegisteredObject& registered,
                json_error_t& error)
{
    const char* id = nullptr;
    const json_t* objects = nullptr;
    if (json_unpack_ex(const_cast<json_t*>(record), &error, 0, "{s:s, s?:{s:{s:o}}}", "id", &id,
                       "relationships", "registeredObjects", "data", &objects) != 0) {
        return false;
    }
    // An array of any length; of anything else Jansson says what it is.
    if (objects != nullptr && json_unpack_ex(const_cast<json_t*>(objects), &error, 0, "[]") != 0) {
        return false;
    }
    registered.first = names.read(id);
    for (std::size_t index = 0; index < json_array_size(objects); ++index) {
        json_t* const element = json_array_get(objects, index);
        id = json_string_value(json_object_get(element, "id"));
        // Unpacking takes longer and says what is wrong.
        if (id == nullptr && json_unpack_ex(element, &error, 0, "{s:s}", "id", &id) != 0) {
            return false;
        }
        registered.second.push_back(names.read(id));
    }
    return true;
}

/// Reads the records one after the other, without a tree of the whole document, which would take 50 % longer.
/// Returns false when the document is not of the form that services write, compact and with nothing but
/// "data", or if anything is wrong with it; the tree decides which.
bool readInTurn(const std::string& response, Service::RegisteredObjects& registered)
{
    constexpr std::string_view START = R"({"data":[)";
    if (response.compare(0, START.size(), START) != 0) {
        return false;
    }
    NamespaceReader names;
    std::size_t position = START.size() - 1;
    do {
        ++position;
        json_error_t error;
        const JsonHandle record(json_loadb(response.data() + position, response.size() - position,
                                           JSON_DISABLE_EOF_CHECK, &error));
        const auto length = static_cast<std::size_t>(error.position); // `readRecord` overwrites it
        Service::RegisteredObject object;
        if (!record || !readRecord(record.get(), names, object, error)) {
            return false;
        }
        position += length;
        registered.insert(std::move(object));
    } while (position < response.size() && response[position] == ',');
    return response.compare(position, std::string::npos, "]}") == 0;
}

} // namespace

DefaultObjectRegistrationService::RegisteredObject
DefaultObjectRegistrationService::extractRegisteredNamespaces(const json_t* record)
{
    RegisteredObject registered;
    NamespaceReader names;
    json_error_t error;
    if (!readRecord(record, names, registered, error)) {
        rejectForm(error, SINGLE_TAG);
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
    try {
        RegisteredObjects registered;
        if (isWithinBounds(response, error, JsonBounds::ofText(response.size())) &&
            readInTurn(response, registered)) {
            return registered;
        }
    } catch (const boost::bad_lexical_cast&) {
        // of a document that the tree may find more wrong with
    }
    const JsonHandle document = loadJson(response, error);
    const json_t* records = nullptr;
    if (!document || json_unpack_ex(document.get(), &error, 0, "{s:o}", "data", &records) != 0) {
        rejectForm(error, BULK_TAG);
    }
    if (!json_is_array(records)) {
        diagnostics::fail(Status::UNEXPECTED_RESPONSE, BULK_TAG,
                          "Invalid bulk registration response. data is not an array");
    }
    RegisteredObjects registered;
    for (std::size_t index = 0; index < json_array_size(records); ++index) {
        registered.insert(extractRegisteredNamespaces(json_array_get(records, index)));
    }
    return registered;
}

} // namespace Tessara::Keepsafe::Rbac
