#include <keepsafe/rbac/api/BaseAPI.h>

#include <keepsafe/platform/status/ExplainedFailure.h>
#include <keepsafe/rbac/api/Roles.h>

#include "rbac/api/ScriptedService.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::ExplainedFailure;
using Tessara::Keepsafe::Rbac::BaseAPI;
using Tessara::Keepsafe::Rbac::RoleAPI;
using testing::ElementsAre;

using BaseApiTest = ApiTest<BaseAPI>;

TEST_F(BaseApiTest, MakesClientsForTheMasterServersPort)
{
    const std::unique_ptr<KSClientCURL_Base> client(api().new_curl());
    EXPECT_TRUE(client);
    EXPECT_THAT(service_->created, ElementsAre("master.example:1556 kind 1"));
}

TEST_F(BaseApiTest, ReadsTheNameOfTheMasterServerOnce)
{
    (void)api();
    writeFile(root_.path("etc/keepsafe.toml"), "master_server = \"another.example\"\n");
    const BaseAPI copy = api();
    const std::unique_ptr<KSClientCURL_Base> client(copy.new_curl());
    EXPECT_THAT(service_->created, ElementsAre("master.example:1556 kind 1"));
}

TEST_F(BaseApiTest, WithoutAFactoryUsesTheProductsClients)
{
    const BaseAPI real;
    const std::unique_ptr<KSClientCURL_Base> client(real.new_curl());
    EXPECT_NE(dynamic_cast<KSClientCURL*>(client.get()), nullptr);
}

TEST_F(BaseApiTest, WithoutAnHttpClientIs114)
{
    service_->onCreate = [] { return nullptr; };
    EXPECT_EQ(thrownStatus([this] { (void)api().new_curl(); }), 114);
    EXPECT_EQ(thrownStatus([] { (void)BaseAPI(nullptr).new_curl(); }), 114);
    EXPECT_EQ(thrownStatus([] { RoleAPI(nullptr).delete_role_by_id(1); }), 114);
    const LogLine line{16, "BaseAPI::new_curl", "There is no HTTP client for master.example"};
    EXPECT_THAT(log_.lines(), ElementsAre(line, line, line));
}

TEST_F(BaseApiTest, SaysWhyThereIsNoMasterServer)
{
    const std::string file = root_.path("etc/keepsafe.toml");
    const auto reason = [this] { return thrownBy<ExplainedFailure>([this] { BaseAPI{service_}; }).reason(); };
    writeFile(file, "");
    EXPECT_EQ(reason(), "no master server: \"master_server\" is not configured in " + file);
    writeFile(file, "[none]\n");
    EXPECT_EQ(reason(), file + ":1:2: unknown key \"none\"");
}

TEST_F(BaseApiTest, WithoutAMasterServerCannotBeMade)
{
    writeFile(root_.path("etc/keepsafe.toml"), "");
    EXPECT_EQ(thrownStatus([&] { BaseAPI{service_}; }), 114);
    EXPECT_EQ(thrownStatus([] { BaseAPI{}; }), 114);
    const LogLine line{16, "get_master", "Couldn't get master server: 114"};
    EXPECT_THAT(log_.lines(), ElementsAre(line, line));
}

} // namespace
} // namespace keepsafe_test
