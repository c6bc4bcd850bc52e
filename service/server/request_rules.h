#ifndef KEEPSAFE_SERVICE_SERVER_REQUEST_RULES_H
#define KEEPSAFE_SERVICE_SERVER_REQUEST_RULES_H

#include <cstddef>

#include <boost/beast/http/fields.hpp>
#include <boost/beast/http/message.hpp>

namespace keepsafe_service {

/// Why a request is refused.
struct RequestFault {
    int httpStatus;
    const char* message;
};

constexpr RequestFault NOT_HTTP = {400, "not a request that HTTP allows"};
constexpr RequestFault LENGTH_TWICE = {400, "the request says more than once how long its body is"};
constexpr RequestFault LENGTH_NO_NUMBER = {400, "the header Content-Length is not a number"};
constexpr RequestFault BODY_ENDS_BADLY = {400, "the request's body does not end well"};
constexpr RequestFault BODY_TOO_LONG = {413, "the request's body is too long"};
constexpr RequestFault BODIES_TOO_LONG = {503,
                                          "the bodies of the requests at this time are too long together"};
constexpr RequestFault TARGET_TOO_LONG = {414, "the request's target is too long"};
constexpr RequestFault HEADER_TOO_LONG = {431, "the request's header is too long"};

using RequestHeader = boost::beast::http::request_header<>;

/// What is wrong with a header whose fields are well-formed; null when the request may be read on.
[[nodiscard]] const RequestFault* findFault(const RequestHeader& header, std::size_t mostBodyBytes);

} // namespace keepsafe_service

#endif
