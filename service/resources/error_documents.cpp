#include "resources/error_documents.h"

#include <keepsafe/platform/status/status_codes.h>

#include "accesscontrol/AccessControl.h"
#include "database/DatabaseError.h"
#include "json/json_text.h"

namespace keepsafe_service {

namespace Status = Tessara::Keepsafe::Status;

namespace {

JsonHandle jsonString(const std::string& text)
{
    JsonHandle value(json_stringn(text.data(), text.size()));
    if (value == nullptr) {
        std::string ascii = text;
        for (char& c : ascii) {
            if (static_cast<unsigned char>(c) > 0x7E) {
                c = '?';
            }
        }
        value.reset(json_stringn(ascii.data(), ascii.size()));
    }
    if (value == nullptr) {
        throw std::bad_alloc();
    }
    return value;
}

void require(bool done)
{
    if (!done) {
        throw std::bad_alloc();
    }
}

} // namespace

ServiceResponse errorResponse(int httpStatus, int errorCode, const std::string& message,
                              const std::vector<std::string>& details)
{
    const JsonHandle document(json_object());
    require(document != nullptr &&
            json_object_set_new(document.get(), "errorCode", json_integer(errorCode)) == 0 &&
            json_object_set_new(document.get(), "errorMessage", jsonString(message).release()) == 0);
    if (!details.empty()) {
        json_t* const texts = json_array();
        require(json_object_set_new(document.get(), "errorDetails", texts) == 0);
        for (const std::string& detail : details) {
            require(json_array_append_new(texts, jsonString(detail).release()) == 0);
        }
    }
    ServiceResponse response;
    response.status = httpStatus;
    response.body = jsonText(document.get(), JSON_COMPACT);
    return response;
}

ServiceResponse refusalResponse(const Refusal& refusal)
{
    const auto respond = [&refusal](int httpStatus, int errorCode) {
        return errorResponse(httpStatus, errorCode, refusal.what(), refusal.details());
    };
    switch (refusal.kind()) {
    case Refusal::Malformed:
        return respond(400, Status::MALFORMED_DOCUMENT);
    case Refusal::WrongType:
        return respond(400, Status::UNEXPECTED_RESPONSE);
    case Refusal::Invalid:
        return respond(400, Status::INVALID_ARGUMENT);
    case Refusal::Unknown:
        return respond(404, Status::INVALID_ARGUMENT);
    case Refusal::Conflict:
        return respond(409, Status::INVALID_ARGUMENT);
    }
    return respond(500, Status::CONVERSION_FAILED);
}

ServiceResponse protocolErrorResponse(int httpStatus, const std::string& message)
{
    return errorResponse(httpStatus, Status::INVALID_ARGUMENT, message);
}

ServiceResponse responseFor(const std::exception_ptr& error)
{
    constexpr int serverError = 500;
    constexpr int unavailable = 503;
    try {
        std::rethrow_exception(error);
    } catch (const Refusal& refusal) {
        return refusalResponse(refusal);
    } catch (const DatabaseError& failure) {
        return errorResponse(serverError, Status::DATABASE_UNAVAILABLE, failure.what());
    } catch (const NotPublished& failure) {
        return errorResponse(unavailable, Status::CACHE_UNUSABLE, failure.what());
    } catch (const std::exception& failure) {
        return errorResponse(serverError, Status::CONVERSION_FAILED, failure.what());
    } catch (...) {
        return errorResponse(serverError, Status::CONVERSION_FAILED, "the service has failed");
    }
}

} // namespace keepsafe_service
