#ifndef KEEPSAFE_TESTS_RBAC_REGISTRATION_REGISTRATIONTEST_H
#define KEEPSAFE_TESTS_RBAC_REGISTRATION_REGISTRATIONTEST_H

#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "rbac/api/ScriptedService.h"

namespace keepsafe_test {

using Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ObjectRegistrationData;

/// A callback for one object: does `work` and records its notifications.
template <typename Interface>
class WorkCallback : public Interface {
public:
    [[nodiscard]] int invoke() override
    {
        ++invoked;
        return work();
    }
    void notifyFailure(int status) override
    {
        told.push_back(status);
        onFailure();
    }

    std::function<int()> work = [] { return 0; };
    std::function<void()> onFailure = [] {};
    int invoked = 0;
    std::vector<int> told;
};

/// A callback for many objects.
class BulkWorkCallback : public Tessara::Keepsafe::Rbac::BulkObjectRegistrationCallback {
public:
    int invoke(std::set<ObjectNamespace>& successful) override
    {
        ++invoked;
        foundEmpty = successful.empty();
        return work(successful);
    }
    void notifyFailure(int status) override
    {
        told.push_back(status);
        onFailure();
    }

    std::function<int(std::set<ObjectNamespace>&)> work = [](std::set<ObjectNamespace>&) { return 0; };
    std::function<void()> onFailure = [] {};
    int invoked = 0;
    bool foundEmpty = false;
    std::vector<int> told;
};

/// A callback's exception, as the log shows it, and its status.
struct CallbackFault {
    std::function<int()> work;
    std::string text;
    int status;
};

inline const std::vector<CallbackFault>& callbackFaults()
{
    static const std::vector<CallbackFault> faults{
        {[]() -> int { throw EC_exception(31); }, "exception, status=31", 31},
        {[]() -> int { throw EC_exception(0); }, "exception, status=114", 114},
        {[]() -> int { throw std::runtime_error("why"); }, "exception: why", 114},
        {[]() -> int { throw 0; }, "unknown exception.", 114}};
    return faults;
}

inline boost::shared_ptr<ObjectRegistrationData> dataOf(const ObjectNamespace& object)
{
    auto data = boost::make_shared<ObjectRegistrationData>();
    data->objectNamespace = object;
    data->objectType = "POLICY";
    data->accessControlAttributes = Tessara::Keepsafe::Rbac::json_pack_shared("{}");
    return data;
}

/// A registration service over the scripted service, in a root that names a master server.
class RegistrationTest : public testing::Test {
protected:
    ~RegistrationTest() override
    {
        EXPECT_EQ(scripted_->living, 0) << "an HTTP client was left behind";
        EXPECT_THAT(scripted_->responses, testing::IsEmpty()) << "fewer requests than expected";
    }

    DefaultObjectRegistrationService& service()
    {
        if (!made_) {
            made_ = std::make_unique<DefaultObjectRegistrationService>(1556, scripted_);
        }
        return *made_;
    }

    void respond(long httpStatus, const std::string& body) const
    {
        scripted_->responses.push_back({0, httpStatus, body});
    }

    /// What has been sent, each as its path below the service's and its body.
    [[nodiscard]] std::vector<std::string> sent() const
    {
        std::vector<std::string> result;
        for (const Request& request : scripted_->requests) {
            EXPECT_EQ(request.method, "POST");
            result.push_back(request.path.substr(request.path.rfind('/') + 1) + ' ' + request.body);
        }
        return result;
    }

    /// The lines of one operation, given by its name.
    [[nodiscard]] std::vector<LogLine> linesOf(const std::string& operation) const
    {
        std::vector<LogLine> result;
        for (const LogLine& line : log_.lines()) {
            if (line.tag == tagOf(operation)) {
                result.push_back(line);
            }
        }
        return result;
    }

    static std::string tagOf(const std::string& operation)
    {
        return "DefaultObjectRegistrationService::" + operation;
    }

    NamedMasterServerRoot root_;
    boost::shared_ptr<ScriptedService> scripted_ = boost::make_shared<ScriptedService>();
    CapturedLog log_;

private:
    std::unique_ptr<DefaultObjectRegistrationService> made_;
};

} // namespace keepsafe_test

#endif
