/// The lookup of the master server's name. This program has its own in the place of the library's.

#include <cstring>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/rbac/api/BaseAPI.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "rbac/api/ScriptedService.h"

namespace {

/// What the lookup below returns, and the size of the buffer that it was given.
int lookupStatus = 0;
unsigned long bufferSize = 0;
const std::string longestName(256, 'm');

} // namespace

int db_getservernameEx(char* buffer, unsigned long size)
{
    bufferSize = size;
    if (lookupStatus == 0 && size > longestName.size()) {
        std::strcpy(buffer, longestName.c_str());
    }
    return lookupStatus;
}

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::BaseAPI;
using Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService;
using Tessara::Keepsafe::Rbac::HTTP_REQUEST_POST;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::ElementsAre;

class MasterServerName : public testing::Test {
protected:
    explicit MasterServerName(int status = 0)
    {
        lookupStatus = status;
        bufferSize = 0;
    }

    const boost::shared_ptr<ScriptedService> service_ = boost::make_shared<ScriptedService>();
    CapturedLog log_;
};

TEST_F(MasterServerName, HasABufferFor256BytesInARestClient)
{
    delete BaseAPI(service_).new_curl();
    EXPECT_EQ(bufferSize, 257U);
    EXPECT_THAT(service_->created, ElementsAre(longestName + ":1556 kind 1"));
}

TEST_F(MasterServerName, HasABufferFor256BytesInTheRegistrationService)
{
    service_->responses.push_back({0, 201, ""});
    DefaultObjectRegistrationService(1556, service_).sendHttpRequest(HTTP_REQUEST_POST, "p", "b");
    EXPECT_EQ(bufferSize, 257U);
    EXPECT_THAT(service_->created, ElementsAre(longestName + ":1556 kind 1"));
}

TEST_F(MasterServerName, HasABufferFor256BytesInTheClientFactory)
{
    const TempRoot root;
    writeFile(root.path("etc/keepsafe.toml"), "[features]\nenabled = [1]\n");
    boost::shared_ptr<AccessControlClient> client;
    EXPECT_NE(AccessControlClient::create(ObjectNamespace("A"), client), 0);
    EXPECT_EQ(bufferSize, 257U);
}

class FailedLookup : public MasterServerName {
protected:
    FailedLookup() : MasterServerName(31) {}
};

TEST_F(FailedLookup, IsItsStatusInARestClient)
{
    EXPECT_EQ(thrownStatus([this] { BaseAPI{service_}; }), 31);
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{16, "get_master", "Couldn't get master server: 31"}));
}

TEST_F(FailedLookup, IsItsStatusInTheRegistrationService)
{
    EXPECT_EQ(thrownStatus([this] { DefaultObjectRegistrationService(1556, service_); }), 31);
}

TEST_F(FailedLookup, IsItsStatusInTheClientFactory)
{
    const TempRoot root;
    writeFile(root.path("etc/keepsafe.toml"), "[features]\nenabled = [1]\n");
    boost::shared_ptr<AccessControlClient> client;
    EXPECT_EQ(AccessControlClient::create(ObjectNamespace("A"), client), 31);
    EXPECT_EQ(client, nullptr);
}

} // namespace
} // namespace keepsafe_test
