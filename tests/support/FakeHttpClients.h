#ifndef KEEPSAFE_TESTS_SUPPORT_FAKEHTTPCLIENTS_H
#define KEEPSAFE_TESTS_SUPPORT_FAKEHTTPCLIENTS_H

#include <atomic>
#include <exception>
#include <ostream>
#include <string>

#include <keepsafe/platform/http/KSClientCURL.h>

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

/// HTTP clients that send nothing: `answer` gives the response to each request. As many threads as `answer`
/// can serve.
class FakeHttpClients : public KSClientCURL_BaseFactory {
public:
    [[nodiscard]] KSClientCURL_Base* create(const std::string& /*host*/, int /*port*/, int /*kind*/) override
    {
        return new Client(*this);
    }

    std::atomic<int> living{0}; ///< clients that were created and not destroyed

protected:
    /// `apiVersion`: as the client was told; 0: it was not.
    virtual Response answer(const Request& request, int apiVersion) = 0;

private:
    class Client : public KSClientCURL_Base {
    public:
        explicit Client(FakeHttpClients& service) : service_(service) { ++service_.living; }
        ~Client() override { --service_.living; }

        int Put(const std::string& path, const std::string& body) override
        {
            return send({"PUT", path, body});
        }
        int Post(const std::string& path, const std::string& body) override
        {
            return send({"POST", path, body});
        }
        int Patch(const std::string& path, const std::string& body) override
        {
            return send({"PATCH", path, body});
        }
        int Get(const std::string& path) override { return send({"GET", path, ""}); }
        int Delete(const std::string& path) override { return send({"DELETE", path, ""}); }
        void setApiVersion(int version) override { apiVersion_ = version; }
        [[nodiscard]] long httpStatus() const override { return response_.httpStatus; }
        [[nodiscard]] const std::string& responseBody() const override { return response_.body; }
        [[nodiscard]] std::string failureReason() const override { return response_.failureReason; }

    private:
        int send(const Request& request)
        {
            response_ = service_.answer(request, apiVersion_);
            if (response_.thrown) {
                std::rethrow_exception(response_.thrown);
            }
            return response_.transfer;
        }

        FakeHttpClients& service_;
        int apiVersion_ = 0;
        Response response_;
    };
};

} // namespace keepsafe_test

#endif
