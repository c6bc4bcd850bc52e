#include "daemon/configuration.h"

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "errors/InputError.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::databaseSettings;
using keepsafe_service::findConfiguration;
using keepsafe_service::InputError;
using keepsafe_service::listenAddress;
using keepsafe_service::serverTlsFiles;
using Tessara::Keepsafe::Platform::Config;

constexpr char COMPLETE[] = R"(master_server = "master.example"
[tls]
certificate = "/tls/server.pem"
key = "/tls/server.key"
ca = "/tls/ca.pem"
[database]
connection = "Driver=X;"
on_connect = ["SET x"]
)";

class ServiceConfiguration : public testing::Test {
protected:
    /// What is said about a configuration of which `use` makes something.
    std::string refusal(const std::string& text, const std::function<void(const Config&)>& use = {}) const
    {
        return thrownBy<InputError>([&] { use(find(text)); }).what();
    }

    [[nodiscard]] Config find(const std::string& text) const
    {
        writeFile(path_, text);
        return findConfiguration(path_).value();
    }

    TempDir folder_;
    const std::string path_ = folder_.path("ksrbacd.toml");
};

TEST_F(ServiceConfiguration, SaysWhatTheServiceNeeds)
{
    const Config configuration = find(COMPLETE);
    EXPECT_EQ(listenAddress({}, configuration, path_).text(), "master.example:1556");
    EXPECT_EQ(serverTlsFiles(configuration, path_).certificate, "/tls/server.pem");
    EXPECT_EQ(serverTlsFiles(configuration, path_).key, "/tls/server.key");
    EXPECT_EQ(serverTlsFiles(configuration, path_).clientAuthority, "/tls/ca.pem");
    EXPECT_EQ(databaseSettings(configuration).connectionString, "Driver=X;");
    EXPECT_EQ(databaseSettings(configuration).onConnect.size(), 1U);
}

TEST_F(ServiceConfiguration, GivesWayToAnAddressToListenAt)
{
    EXPECT_EQ(listenAddress("[::]:99", find(COMPLETE), path_).text(), "[::]:99");
}

TEST_F(ServiceConfiguration, MayBeMissing) { EXPECT_FALSE(findConfiguration(path_).has_value()); }

TEST_F(ServiceConfiguration, IsRefusedWithThePlaceOfTheFault)
{
    EXPECT_EQ(refusal("[tls]\nkeys = \"x\"\n"), path_ + ":2:1: unknown key \"tls.keys\"");
}

TEST_F(ServiceConfiguration, IsRefusedForWhatItLeavesOut)
{
    const std::string database = "[database]\nconnection = \"Driver=X;\"\n";
    const auto tls = [this](const Config& configuration) { (void)serverTlsFiles(configuration, path_); };
    const auto listen = [this](const Config& configuration) {
        (void)listenAddress({}, configuration, path_);
    };

    EXPECT_EQ(refusal("[tls]\nkey = \"/key\"\n"),
              path_ + " names no database: add 'connection' under [database], or move the file away");
    EXPECT_EQ(refusal(database, listen),
              path_ + " names no master server: add 'master_server', or say where with --listen");
    EXPECT_EQ(refusal(database, tls), path_ + " names no certificate: add 'certificate' under [tls]");
    EXPECT_EQ(refusal(database + "[tls]\ncertificate = \"/server.pem\"\nca = \"/ca.pem\"\n", tls),
              path_ + " names no key: add 'key' under [tls]");
}

} // namespace
} // namespace keepsafe_test
