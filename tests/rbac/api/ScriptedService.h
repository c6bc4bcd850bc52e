#ifndef KEEPSAFE_TESTS_RBAC_API_SCRIPTEDSERVICE_H
#define KEEPSAFE_TESTS_RBAC_API_SCRIPTEDSERVICE_H

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CapturedLog.h"
#include "support/FakeHttpClients.h"
#include "support/MasterServerRoot.h"
#include "support/thrown.h"

namespace keepsafe_test {

/// Records requests and plays responses back, in order.
class ScriptedService : public FakeHttpClients {
public:
    [[nodiscard]] KSClientCURL_Base* create(const std::string& host, int port, int clientKind) override
    {
        created.push_back(host + ':' + std::to_string(port) + " kind " + std::to_string(clientKind));
        return onCreate ? onCreate() : FakeHttpClients::create(host, port, clientKind);
    }

    std::deque<Response> responses;
    std::vector<Request> requests;
    std::vector<std::string> created;
    std::vector<int> apiVersions;                 ///< of each request
    std::function<KSClientCURL_Base*()> onCreate; ///< makes the clients, or fails to

private:
    Response answer(const Request& request, int apiVersion) override
    {
        requests.push_back(request);
        apiVersions.push_back(apiVersion);
        Response response = responses.front();
        responses.pop_front();
        return response;
    }
};

inline std::string document(const std::string& data) { return R"({"data":)" + data + "}"; }

/// A REST client of type `Api` for the scripted service, in a root that names a master server.
template <typename Api>
class ApiTest : public testing::Test {
protected:
    ~ApiTest() override { EXPECT_EQ(service_->living, 0) << "an HTTP client was left behind"; }

    void respond(long httpStatus, const std::string& body)
    {
        service_->responses.push_back({0, httpStatus, body});
    }

    NamedMasterServerRoot root_;
    boost::shared_ptr<ScriptedService> service_ = boost::make_shared<ScriptedService>();
    CapturedLog log_;

private:
    /// Behind the root, whose configuration names the server.
    std::unique_ptr<Api> madeApi_;

protected:
    Api& api()
    {
        if (!madeApi_) {
            madeApi_ = std::make_unique<Api>(service_);
        }
        return *madeApi_;
    }
};

} // namespace keepsafe_test

#endif
