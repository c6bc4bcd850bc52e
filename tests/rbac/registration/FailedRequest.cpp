#include "FailedRequest.h"

#include <new>
#include <stdexcept>

#include <keepsafe/platform/status/status_codes.h>

namespace keepsafe_test {

std::vector<FailedRequest> allFailedRequests()
{
    const auto thrown = [](const auto& exception) {
        return Response{0, 0, "", std::make_exception_ptr(exception)};
    };
    const auto status = [](const std::string& name, int code, const Response& response) {
        return FailedRequest{name, FailedRequest::Status, code, code, getECmsg(code), response};
    };
    const std::string text = "the reason";
    return {
        status("Refused", 5930, {0, 409, R"({"errorCode":5930,"errorMessage":"is there"})"}),
        status("RefusedWithoutReason", 9103, {0, 500, ""}),
        status("RefusedWithCodeOfSuccess", 9103, {0, 500, R"({"errorCode":0,"errorMessage":"fine"})"}),
        status("AnsweredOk", 9103, {0, 200, R"({"id":"|A|"})"}),
        status("ConnectionLost", 56, {56, 0, ""}),
        status("StatusThrown", 4711, thrown(EC_exception(4711))),
        {"StatusOfSuccessThrown", FailedRequest::Status, 114, 0, getECmsg(0), thrown(EC_exception(0))},
        {"ExceptionThrown", FailedRequest::Exception, 114, 0, text, thrown(std::runtime_error(text))},
        {"OutOfMemory", FailedRequest::Exception, 114, 0, "std::bad_alloc", thrown(std::bad_alloc())},
        {"IntegerThrown", FailedRequest::Unknown, 114, 0, "", thrown(0)},
        {"StatusThrownByFactory", FailedRequest::Status, 7, 7, getECmsg(7), thrown(EC_exception(7)), true},
        {"ExceptionThrownByFactory", FailedRequest::Exception, 114, 0, text, thrown(std::logic_error(text)),
         true},
        {"IntegerThrownByFactory", FailedRequest::Unknown, 114, 0, "", thrown(1), true},
    };
}

} // namespace keepsafe_test
