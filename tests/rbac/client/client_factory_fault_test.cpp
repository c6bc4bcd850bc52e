/// Failures below AccessControlClient::create that a server cannot provoke. This program is built with the
/// source of the factory, and has functions that fail in the place of the libraries'.

#include <keepsafe/rbac/client/AccessControlClient.h>

#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/http/KSClientCURL.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/uri/percent_encode.h>
#include <keepsafe/rbac/client/StubAccessControlClient.h>

#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace {

/// What the functions below do.
struct Behaviour {
    bool convertsNamespaces = true;
    int encoding = 0;
    std::function<int()> onGet = [] { return 0; };
    std::function<void()> onOpening = [] {};
};
Behaviour behaviour;

} // namespace

namespace Tessara::Keepsafe::Rbac {

std::ostream& operator<<(std::ostream& stream, const ObjectNamespace& /*value*/)
{
    if (!behaviour.convertsNamespaces) {
        stream.setstate(std::ios_base::failbit);
    }
    return stream << "|A|";
}

std::string AccessCache::directoryOf(const std::string& cacheId)
{
    behaviour.onOpening();
    return cacheId;
}

} // namespace Tessara::Keepsafe::Rbac

int percentEncodeUriPart(const std::string& in, std::string& out)
{
    out = in;
    return behaviour.encoding;
}

int KSClientCURL::Get(const std::string& /*path*/)
{
    httpStatus_ = 200;
    responseBody_ = R"({"data":{"type":"accessCache","id":"x"}})";
    return behaviour.onGet();
}

namespace {

using keepsafe_test::CapturedLog;
using keepsafe_test::LogLine;
using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::StubAccessControlClient;
using testing::ElementsAre;

constexpr char TAG[] = "AccessControlClient::create";

class ClientFactoryFault : public testing::Test {
protected:
    ClientFactoryFault()
    {
        behaviour = {};
        keepsafe_test::writeFile(root_.path("etc/keepsafe.toml"),
                                 "master_server = \"master.example\"\n[features]\nenabled = [1]\n");
    }
    ~ClientFactoryFault() override { EXPECT_EQ(client_, before_); }

    int create() { return AccessControlClient::create(ObjectNamespace("A"), client_); }

    keepsafe_test::TempRoot root_;
    const boost::shared_ptr<AccessControlClient> before_ = boost::make_shared<StubAccessControlClient>();
    boost::shared_ptr<AccessControlClient> client_ = before_;
    CapturedLog log_{4};
    const LogLine enforced_{4, TAG, "Gen2 enforcement."};
    const LogLine requesting_{4, TAG, "Requesting cache for |A|"};
    const LogLine answered_{4, TAG,
                            "Request for /keepsafe/access-control/access-caches/|A|; http status 200"};
};

TEST_F(ClientFactoryFault, ANamespaceWithoutATextFormIs114)
{
    behaviour.convertsNamespaces = false;
    EXPECT_EQ(create(), 114);
    EXPECT_THAT(log_.lines(), ElementsAre(enforced_));
}

TEST_F(ClientFactoryFault, ATextThatCannotBeEncodedIsTheEncodersStatus)
{
    behaviour.encoding = 4711;
    EXPECT_EQ(create(), 4711);
    EXPECT_THAT(log_.lines(), ElementsAre(enforced_, requesting_));
}

TEST_F(ClientFactoryFault, WhateverTheRequestThrowsPasses)
{
    behaviour.onGet = []() -> int { throw EC_exception(31); };
    EXPECT_THROW(create(), EC_exception);
    behaviour.onGet = []() -> int { throw 7; };
    EXPECT_THROW(create(), int);
    EXPECT_THAT(log_.lines(), ElementsAre(enforced_, requesting_, enforced_, requesting_));
}

TEST_F(ClientFactoryFault, WhateverIsThrownWhileTheCacheIsOpenedIsAStatus)
{
    behaviour.onOpening = [] { throw EC_exception(31); };
    EXPECT_EQ(create(), 31);
    behaviour.onOpening = [] { throw std::runtime_error("why"); };
    EXPECT_EQ(create(), 114);
    behaviour.onOpening = [] { throw 7; };
    EXPECT_EQ(create(), 114);
    EXPECT_THAT(log_.lines(), ElementsAre(enforced_, requesting_, answered_, enforced_, requesting_,
                                          answered_, enforced_, requesting_, answered_));
}

} // namespace
