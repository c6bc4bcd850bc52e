#ifndef KEEPSAFE_TESTS_RBAC_API_SCRIPTEDSERVICE_H
#define KEEPSAFE_TESTS_RBAC_API_SCRIPTEDSERVICE_H

#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/http/KSClientCURL.h>

#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {

struct Request {
    std::string method;
    std::string path;
    std::string body;

    friend bool operator==(const Request& left, const Request& right)
    {
        return left.method == right.method && left.path == right.path && left.body == right.body;
    }
    friend std::ostream& operator<<(std::ostream& stream, const Request& request)
    {
        return stream << request.method << ' ' << request.path << ' ' << request.body;
    }
};

struct Response {
    int transfer = 0;
    long httpStatus = 0;
    std::string body;
    std::exception_ptr thrown = nullptr; ///< instead of a response
    std::string failureReason = {};
};

/// HTTP clients that send nothing: they record requests and play responses back, in order.
class ScriptedService : public KSClientCURL_BaseFactory {
public:
    [[nodiscard]] KSClientCURL_Base* create(const std::string& host, int port, int clientKind) override
    {
        created.push_back(host + ':' + std::to_string(port) + " kind " + std::to_string(clientKind));
        return onCreate ? onCreate() : new Client(*this);
    }

    std::deque<Response> responses;
    std::vector<Request> requests;
    std::vector<std::string> created;
    std::vector<int> apiVersions;                 ///< of each request, as it was set before; 0: none was
    std::function<KSClientCURL_Base*()> onCreate; ///< makes the clients, or fails to
    int living = 0;

private:
    class Client : public KSClientCURL_Base {
    public:
        explicit Client(ScriptedService& service) : service_(service) { ++service_.living; }
        ~Client() override { --service_.living; }

        int Put(const std::string& path, const std::string& body) override
        {
            return play({"PUT", path, body});
        }
        int Post(const std::string& path, const std::string& body) override
        {
            return play({"POST", path, body});
        }
        int Patch(const std::string& path, const std::string& body) override
        {
            return play({"PATCH", path, body});
        }
        int Get(const std::string& path) override { return play({"GET", path, ""}); }
        int Delete(const std::string& path) override { return play({"DELETE", path, ""}); }
        void setApiVersion(int version) override { apiVersion_ = version; }
        [[nodiscard]] long httpStatus() const override { return response_.httpStatus; }
        [[nodiscard]] const std::string& responseBody() const override { return response_.body; }
        [[nodiscard]] std::string failureReason() const override { return response_.failureReason; }

    private:
        int play(const Request& request)
        {
            service_.requests.push_back(request);
            service_.apiVersions.push_back(apiVersion_);
            response_ = service_.responses.front();
            service_.responses.pop_front();
            if (response_.thrown) {
                std::rethrow_exception(response_.thrown);
            }
            return response_.transfer;
        }

        ScriptedService& service_;
        int apiVersion_ = 0;
        Response response_;
    };
};

/// A REST client of type `Api` for the scripted service, in a root that names a master server.
template <typename Api>
class ApiTest : public testing::Test {
protected:
    ApiTest() { writeFile(root_.path("etc/keepsafe.toml"), "master_server = \"master.example\"\n"); }
    ~ApiTest() override { EXPECT_EQ(service_->living, 0) << "an HTTP client was left behind"; }

    void respond(long httpStatus, const std::string& body)
    {
        service_->responses.push_back({0, httpStatus, body});
    }

    TempRoot root_;
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
