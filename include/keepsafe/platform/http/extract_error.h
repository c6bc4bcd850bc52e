#ifndef KEEPSAFE_PLATFORM_HTTP_EXTRACT_ERROR_H
#define KEEPSAFE_PLATFORM_HTTP_EXTRACT_ERROR_H

#include <string>

#include <keepsafe/platform/export/export.h>

/// Reads the error document that a server of the product sends with an HTTP status of failure: `{"errorCode":
/// 7610, "errorMessage": "bad", ...}`. Other members are ignored.
///
/// Returns 0 with the server's code and message, or 7610 and leaves both as they were: when the body is not
/// JSON, a member is missing or of another type, or the code is 0, which would mean success, or not an `int`.
/// Any thread; throws only `std::bad_alloc`.
[[nodiscard]] KEEPSAFE_API int extractErrorFromJSON(const std::string& body, int& errorCode,
                                                    std::string& errorMessage);

#endif
