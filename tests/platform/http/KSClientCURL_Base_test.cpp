#include <keepsafe/platform/http/KSClientCURL.h>

#include <string>

#include <gtest/gtest.h>

namespace {

/// A caller's client that says no more than its interface asks for.
class PlainClient : public KSClientCURL_Base {
public:
    int Put(const std::string& /*path*/, const std::string& /*body*/) override { return 1; }
    int Post(const std::string& /*path*/, const std::string& /*body*/) override { return 1; }
    int Patch(const std::string& /*path*/, const std::string& /*body*/) override { return 1; }
    int Get(const std::string& /*path*/) override { return 1; }
    int Delete(const std::string& /*path*/) override { return 1; }
    void setApiVersion(int /*version*/) override {}
    [[nodiscard]] long httpStatus() const override { return 0; }
    [[nodiscard]] const std::string& responseBody() const override { return body_; }

private:
    std::string body_;
};

TEST(AClientOfACaller, NeedNotSayWhyARequestFailed)
{
    PlainClient client;
    EXPECT_NE(client.Get("path"), 0);
    EXPECT_EQ(client.failureReason(), "");
}

} // namespace
