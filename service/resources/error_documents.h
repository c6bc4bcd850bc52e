#ifndef KEEPSAFE_SERVICE_RESOURCES_ERROR_DOCUMENTS_H
#define KEEPSAFE_SERVICE_RESOURCES_ERROR_DOCUMENTS_H

#include <exception>
#include <string>
#include <vector>

#include "accesscontrol/Refusal.h"
#include "resources/Exchange.h"

/// \file
/// What the service answers when it does not do what it was asked.

namespace keepsafe_service {

/// A response with the document {"errorCode", "errorMessage", "errorDetails"}; the details are left out when
/// there are none. Bytes that are not UTF-8 are shown as question marks.
[[nodiscard]] ServiceResponse errorResponse(int httpStatus, int errorCode, const std::string& message,
                                            const std::vector<std::string>& details = {});

[[nodiscard]] ServiceResponse refusalResponse(const Refusal& refusal);

/// For a request that breaks a rule of HTTP or a limit of the service, by its HTTP status.
[[nodiscard]] ServiceResponse protocolErrorResponse(int httpStatus, const std::string& message);

/// For whatever a resource has thrown.
[[nodiscard]] ServiceResponse responseFor(const std::exception_ptr& error);

} // namespace keepsafe_service

#endif
