#ifndef KEEPSAFE_TESTS_RBAC_REGISTRATION_FAILEDREQUEST_H
#define KEEPSAFE_TESTS_RBAC_REGISTRATION_FAILEDREQUEST_H

#include <ostream>
#include <string>
#include <vector>

#include "rbac/api/ScriptedService.h"

namespace keepsafe_test {

/// One way in which a request to the service fails, and how that comes out of it.
struct FailedRequest {
    enum Kind { Status, Exception, Unknown };

    std::string name;
    Kind kind;
    int status;       ///< what an operation whose first phase fails so returns
    int carried;      ///< the status in the exception
    std::string text; ///< what() of the exception
    Response response;
    bool isOfFactory = false; ///< no client is made; no request is recorded

    void play(ScriptedService& service) const
    {
        if (isOfFactory) {
            service.onCreate = [thrown = response.thrown]() -> KSClientCURL_Base* {
                std::rethrow_exception(thrown);
            };
        } else {
            service.responses.push_back(response);
        }
    }

    /// The line's end in the form that fits the kind.
    [[nodiscard]] std::string choose(const std::string& forStatus, const std::string& forException,
                                     const std::string& forUnknown) const
    {
        return kind == Status ? forStatus : kind == Exception ? forException : forUnknown;
    }

    friend std::ostream& operator<<(std::ostream& stream, const FailedRequest& failed)
    {
        return stream << failed.name;
    }
};

/// Every way, at least one of each kind.
std::vector<FailedRequest> allFailedRequests();

inline std::string nameOf(const testing::TestParamInfo<FailedRequest>& instance)
{
    return instance.param.name;
}

} // namespace keepsafe_test

#endif
