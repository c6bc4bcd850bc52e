#include <keepsafe/platform/config/config.h>

#include <limits>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/thrown.h"

namespace keepsafe_test {
namespace {

namespace Platform = Tessara::Keepsafe::Platform;
using Platform::Config;

Config parsed(const std::string& text) { return Platform::parseConfig(text, "keepsafe.toml"); }

std::string errorOf(const std::string& text)
{
    return thrownBy<Platform::ConfigError>([&] { parsed(text); }).what();
}

TEST(ParseConfig, OfAnEmptyTextGivesTheDefaults)
{
    for (const char* const text :
         {"", "\n", "# nothing\n", "[features]\n[log]\n[database]\n[tls]\n[http]\n"}) {
        const Config config = parsed(text);
        EXPECT_EQ(config.masterServer, "");
        EXPECT_EQ(config.enabledFeatures, std::set<int>{});
        EXPECT_EQ(config.logThreshold, 8);
        EXPECT_EQ(config.logDestination, "stderr");
        EXPECT_EQ(config.tlsCertificate + config.tlsKey + config.tlsCa, "");
        EXPECT_EQ(config.httpConnectTimeoutSeconds, 10);
        EXPECT_EQ(config.httpTotalTimeoutSeconds, 300);
        EXPECT_EQ(config.httpStallTimeoutSeconds, 30);
        EXPECT_EQ(config.httpResponseLimitBytes, 67108864);
        EXPECT_EQ(config.databaseConnection, "");
        EXPECT_EQ(config.databaseOnConnect, std::vector<std::string>{});
    }
}

TEST(ParseConfig, ReadsEveryKey)
{
    const Config config = parsed("master_server = \"master.example\"\n"
                                 "[features]\n"
                                 "enabled = [1, 30, 1]\n"
                                 "[log]\n"
                                 "level = 4\n"
                                 "destination = \"file:/var/log/keepsafe.log\"\n"
                                 "[database]\n"
                                 "connection = \"Driver=SQLite3;Database=/x/main.db;\"\n"
                                 "on_connect = [\"first\", 'second']\n");
    EXPECT_EQ(config.masterServer, "master.example");
    EXPECT_EQ(config.enabledFeatures, (std::set<int>{1, 30}));
    EXPECT_EQ(config.logThreshold, 4);
    EXPECT_EQ(config.logDestination, "file:/var/log/keepsafe.log");
    EXPECT_EQ(config.databaseConnection, "Driver=SQLite3;Database=/x/main.db;");
    EXPECT_EQ(config.databaseOnConnect, (std::vector<std::string>{"first", "second"}));
}

TEST(ParseConfig, ReadsOtherSpellingsOfTheSameTables)
{
    EXPECT_EQ(parsed("features.enabled = [2]\nlog = {level = 16}").enabledFeatures, std::set<int>{2});
    EXPECT_EQ(parsed("features.enabled = [2]\nlog = {level = 16}").logThreshold, 16);
    EXPECT_EQ(parsed("\"master_server\" = 'm'\r\n").masterServer, "m");
}

TEST(ParseConfig, TakesHostNamesAndAddresses)
{
    for (const std::string name :
         {"", "master", "MASTER-01.example.com", "127.0.0.2", "::1", "under_score"}) {
        EXPECT_EQ(parsed("master_server = \"" + name + "\"").masterServer, name);
    }
    const std::string longest(256, 'm');
    EXPECT_EQ(parsed("master_server = \"" + longest + "\"").masterServer, longest);
}

TEST(ParseConfig, RefusesAMasterServerThatIsNoHostName)
{
    EXPECT_EQ(errorOf("master_server = \"" + std::string(257, 'm') + "\""),
              "keepsafe.toml:1:17: \"master_server\" must be at most 256 bytes long, not 257");
    for (const std::string name : {" ", "a b", "a/b", "a@b", "a\\u0000b", "a\\nb", "caf\xC3\xA9", "[::1]"}) {
        EXPECT_EQ(errorOf("master_server = \"" + name + "\""),
                  "keepsafe.toml:1:17: \"master_server\" must be a host name: letters, digits, "
                  "'-', '.', '_' and ':' only");
    }
}

TEST(ParseConfig, TakesFeatureNumbersFromOneToTheLargestInteger)
{
    EXPECT_EQ(parsed("[features]\nenabled = [1, 2147483647]").enabledFeatures,
              (std::set<int>{1, std::numeric_limits<int>::max()}));
    EXPECT_EQ(parsed("[features]\nenabled = []").enabledFeatures, std::set<int>{});
    EXPECT_EQ(errorOf("[features]\nenabled = [1, 0]"),
              "keepsafe.toml:2:15: \"features.enabled[1]\" must be between 1 and 2147483647, not 0");
    EXPECT_EQ(errorOf("[features]\nenabled = [-1]"),
              "keepsafe.toml:2:12: \"features.enabled[0]\" must be between 1 and 2147483647, not -1");
    EXPECT_EQ(errorOf("[features]\nenabled = [\n  1,\n  2147483648 ]"),
              "keepsafe.toml:4:3: \"features.enabled[1]\" must be between 1 and 2147483647, not 2147483648");
    EXPECT_EQ(errorOf("[features]\nenabled = [4294967297]"),
              "keepsafe.toml:2:12: \"features.enabled[0]\" must be between 1 and 2147483647, not 4294967297");
}

TEST(ParseConfig, TakesLogLevelsThatDoNotSilenceErrors)
{
    EXPECT_EQ(parsed("[log]\nlevel = 0").logThreshold, 0);
    EXPECT_EQ(parsed("[log]\nlevel = 16").logThreshold, 16);
    EXPECT_EQ(errorOf("[log]\nlevel = -1"),
              "keepsafe.toml:2:9: \"log.level\" must be between 0 and 16, not -1");
    EXPECT_EQ(errorOf("[log]\nlevel = 17"),
              "keepsafe.toml:2:9: \"log.level\" must be between 0 and 16, not 17");
}

TEST(ParseConfig, TakesThreeKindsOfLogDestination)
{
    for (const std::string destination : {"stderr", "syslog", "file:/x"}) {
        EXPECT_EQ(parsed("[log]\ndestination = \"" + destination + "\"").logDestination, destination);
    }
    for (const std::string destination :
         {"", "stdout", "STDERR", "file:", "file:x", "/x", "file:/x\\u0000y"}) {
        EXPECT_EQ(errorOf("[log]\ndestination = \"" + destination + "\""),
                  "keepsafe.toml:2:15: \"log.destination\" must be \"stderr\", \"syslog\" or \"file:\" and "
                  "an absolute path");
    }
}

TEST(ParseConfig, ReadsTheFilesOfTls)
{
    const Config config = parsed("[tls]\ncertificate = \"/c\"\nkey = \"/k\"\nca = \"/a\"\n");
    EXPECT_EQ(config.tlsCertificate, "/c");
    EXPECT_EQ(config.tlsKey, "/k");
    EXPECT_EQ(config.tlsCa, "/a");
}

TEST(ParseConfig, TakesAbsolutePathsOfTlsFilesOnly)
{
    for (const std::string key : {"certificate", "key", "ca"}) {
        const std::string where = "keepsafe.toml:2:" + std::to_string(key.size() + 4) + ": \"tls." + key;
        for (const std::string path : {"", "relative/file.pem", "~/file.pem"}) {
            EXPECT_EQ(errorOf("[tls]\n" + key + " = \"" + path + "\""),
                      where + "\" must be an absolute path");
        }
        EXPECT_EQ(errorOf("[tls]\n" + key + " = \"/a\\u0000b\""), where + "\" must not have a zero byte");
        EXPECT_EQ(errorOf("[tls]\n" + key + " = 1"), where + "\" must be a string, not of type integer");
    }
}

TEST(ParseConfig, TakesTimeoutsFromASecondToAnHour)
{
    const Config config =
        parsed("[http]\nconnect_timeout = 1\ntotal_timeout = 3600\nstall_timeout = 2\nresponse_limit = 1");
    EXPECT_EQ(config.httpConnectTimeoutSeconds, 1);
    EXPECT_EQ(config.httpTotalTimeoutSeconds, 3600);
    EXPECT_EQ(config.httpStallTimeoutSeconds, 2);
    EXPECT_EQ(config.httpResponseLimitBytes, 1);
    for (const std::string key : {"connect_timeout", "total_timeout", "stall_timeout"}) {
        const std::string where = "keepsafe.toml:2:" + std::to_string(key.size() + 4) + ": \"http." + key;
        EXPECT_EQ(errorOf("[http]\n" + key + " = 0"), where + "\" must be between 1 and 3600, not 0");
        EXPECT_EQ(errorOf("[http]\n" + key + " = 3601"), where + "\" must be between 1 and 3600, not 3601");
    }
}

TEST(ParseConfig, TakesResponseLimitsUpToAGibibyte)
{
    EXPECT_EQ(parsed("[http]\nresponse_limit = 1073741824").httpResponseLimitBytes, 1073741824);
    EXPECT_EQ(errorOf("[http]\nresponse_limit = 1073741825"),
              "keepsafe.toml:2:18: \"http.response_limit\" must be between 1 and 1073741824, not 1073741825");
    EXPECT_EQ(errorOf("[http]\nresponse_limit = 0"),
              "keepsafe.toml:2:18: \"http.response_limit\" must be between 1 and 1073741824, not 0");
}

TEST(ParseConfig, TakesDatabaseTextsWithoutZeroBytes)
{
    EXPECT_EQ(parsed("[database]\nconnection = \"\"\non_connect = []").databaseConnection, "");
    EXPECT_EQ(parsed("database.connection = \"Pwd={a;b}\"").databaseConnection, "Pwd={a;b}");
    EXPECT_EQ(errorOf("[database]\nconnection = \"Pwd=geheim\\u0000\""),
              "keepsafe.toml:2:14: \"database.connection\" must not have a zero byte");
    EXPECT_EQ(errorOf("[database]\non_connect = [\"a\", \"geheim\\u0000\"]"),
              "keepsafe.toml:2:20: \"database.on_connect[1]\" must not have a zero byte");
}

TEST(ParseConfig, NeverShowsAPasswordOfTheDatabase)
{
    for (const std::string text :
         {"[database]\nconnection = [\"Pwd=geheim\"]", "[database]\nconnection = {Pwd = \"geheim\"}",
          "[database]\nconnection = \"Pwd=geheim", "[database]\nconnection = \"Pwd=geheim\n\"",
          "[database]\nconnection = \"Pwd=geheim\\q\"", "[database]\nconnection = \"Pwd=geheim\" x",
          "[database]\nconnection = Pwd=geheim", "[database]\nconnection = \"Pwd=geheim\xE9\"",
          "[database]\nconnection = \"Pwd=geheim\"\nconnection = \"Pwd=geheim\"",
          "[database]\non_connect = \"geheim\"", "[database]\non_connect = [\"geheim\", 1]",
          "database = \"geheim\""}) {
        const std::string error = errorOf(text);
        EXPECT_EQ(error.rfind("keepsafe.toml:", 0), 0U) << text;
        EXPECT_EQ(error.find("geheim"), std::string::npos) << error;
    }
}

TEST(ParseConfig, NamesTheTypeThatIsWrong)
{
    EXPECT_EQ(errorOf("master_server = 1"),
              "keepsafe.toml:1:17: \"master_server\" must be a string, not of type integer");
    EXPECT_EQ(errorOf("master_server = [\"m\"]"),
              "keepsafe.toml:1:17: \"master_server\" must be a string, not of type array");
    EXPECT_EQ(errorOf("[master_server]"),
              "keepsafe.toml:1:1: \"master_server\" must be a string, not of type table");
    EXPECT_EQ(errorOf("features = true"),
              "keepsafe.toml:1:12: \"features\" must be a table, not of type boolean");
    EXPECT_EQ(errorOf("[[log]]\nlevel = 4"), "keepsafe.toml:1:1: \"log\" must be a table, not of type array");
    EXPECT_EQ(errorOf("[features]\nenabled = 1"),
              "keepsafe.toml:2:11: \"features.enabled\" must be an array of integers, not of type integer");
    EXPECT_EQ(errorOf("[features]\nenabled = [1, \"2\"]"),
              "keepsafe.toml:2:15: \"features.enabled[1]\" must be an integer, not of type string");
    EXPECT_EQ(errorOf("[features]\nenabled = [1.0]"),
              "keepsafe.toml:2:12: \"features.enabled[0]\" must be an integer, not of type floating-point");
    EXPECT_EQ(errorOf("[log]\nlevel = \"8\""),
              "keepsafe.toml:2:9: \"log.level\" must be an integer, not of type string");
    EXPECT_EQ(errorOf("[log]\nlevel = 1979-05-27"),
              "keepsafe.toml:2:9: \"log.level\" must be an integer, not of type date");
    EXPECT_EQ(errorOf("[database]\nconnection = 1"),
              "keepsafe.toml:2:14: \"database.connection\" must be a string, not of type integer");
    EXPECT_EQ(errorOf("[database]\non_connect = \"x\""),
              "keepsafe.toml:2:14: \"database.on_connect\" must be an array of strings, not of type string");
    EXPECT_EQ(errorOf("[database]\non_connect = [\"x\", 1]"),
              "keepsafe.toml:2:20: \"database.on_connect[1]\" must be a string, not of type integer");
    EXPECT_EQ(errorOf("[log]\ndestination = false"),
              "keepsafe.toml:2:15: \"log.destination\" must be a string, not of type boolean");
}

TEST(ParseConfig, NamesAKeyThatItDoesNotKnow)
{
    EXPECT_EQ(errorOf("# comment\n  master-server = \"m\"\n"),
              "keepsafe.toml:2:3: unknown key \"master-server\"");
    EXPECT_EQ(errorOf("Master_Server = \"m\"\n"), "keepsafe.toml:1:1: unknown key \"Master_Server\"");
    EXPECT_EQ(errorOf("[log]\nlevel = 8\ncolour = true"), "keepsafe.toml:3:1: unknown key \"log.colour\"");
    EXPECT_EQ(errorOf("[log]\nmaster_server = \"m\""),
              "keepsafe.toml:2:1: unknown key \"log.master_server\"");
    EXPECT_EQ(errorOf("level = 8"), "keepsafe.toml:1:1: unknown key \"level\"");
    EXPECT_EQ(errorOf("\n[ssl]\n"), "keepsafe.toml:2:2: unknown key \"ssl\"");
    EXPECT_EQ(errorOf("[log.file]\n"), "keepsafe.toml:1:6: unknown key \"log.file\"");
    EXPECT_EQ(errorOf("\"\" = 1"), "keepsafe.toml:1:1: unknown key \"\"");
}

TEST(ParseConfig, SaysWhereATextIsNotToml)
{
    EXPECT_EQ(errorOf("master_server = "),
              "keepsafe.toml:1:17: Error while parsing key-value pair: encountered end-of-file");
    EXPECT_EQ(
        errorOf("[log]\nlevel = 4\nlevel = 8\n"),
        "keepsafe.toml:3:9: Error while parsing key-value pair: cannot redefine existing integer 'level'");
    EXPECT_EQ(errorOf("[features]\nenabled = [1\n"),
              "keepsafe.toml:2:14: Error while parsing array: encountered end-of-file");
    EXPECT_EQ(errorOf("[log]\nlevel = 99999999999999999999"),
              "keepsafe.toml:2:29: Error while parsing decimal integer: '99999999999999999999' is not "
              "representable in 64 bits");
}

TEST(ParseConfig, RefusesBytesThatAreNotUtf8)
{
    const std::string error = errorOf("# caf\xE9\nmaster_server = \"m\"");
    EXPECT_EQ(error.rfind("keepsafe.toml:1:", 0), 0U) << error;
}

TEST(ParseConfig, RefusesCharactersBeyondAsciiOutsideOfStringsAndComments)
{
    EXPECT_EQ(errorOf("\xEF\xBB\xB7 = 1").rfind("keepsafe.toml:1:1: ", 0), 0U) << errorOf("\xEF\xBB\xB7 = 1");
    EXPECT_EQ(parsed("# \xEF\xBB\xB7\n[log]\ndestination = \"file:/caf\xC3\xA9\"").logDestination,
              "file:/caf\xC3\xA9");
}

TEST(ParseConfig, SurvivesDeepNesting)
{
    const std::string error = errorOf("x = " + std::string(100000, '['));
    EXPECT_EQ(error.rfind("keepsafe.toml:1:", 0), 0U) << error;
}

std::string repeated(const std::string& text, int count)
{
    std::string result;
    for (int i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

TEST(ParseConfig, RefusesAKeyOfManyPartsInsteadOfOverflowingTheStack)
{
    const std::string parts = repeated("a.", 150000);
    for (const std::string& text :
         {parts + "a = 1", "[" + parts + "a]", "[[" + parts + "a]]", "x = {" + parts + "a = 1}",
          "# a comment\"\n" + parts + "a = 1", repeated("a . ", 150000) + "a = 1",
          repeated("\"=\\\".'\".", 150000) + "a = 1", repeated("'='.", 150000) + "a = 1",
          "x = [\"\"\"a\"\"\"\", {" + parts + "a = 1}, \"b\"]", "x = ['''a''''', {" + parts + "a = 1}, 'b']",
          "x = \"\"\"\n\"\\\"\"\"\"\n" + parts + "a = 1", "x = '''\n'\\'''\n" + parts + "a = 1"}) {
        EXPECT_THAT(errorOf(text), testing::EndsWith(": a key has more than 16 parts")) << text.substr(0, 20);
    }
    EXPECT_EQ(errorOf("\n  " + parts + "a = 1"), "keepsafe.toml:2:34: a key has more than 16 parts");
}

TEST(ParseConfig, TakesDotsInTextsNumbersAndComments)
{
    const std::string dots(100, '.');
    EXPECT_EQ(parsed("# " + dots + "\ndatabase.connection = \"" + dots + "\"\n").databaseConnection, dots);
    EXPECT_EQ(parsed("database.connection = '''\n" + dots + "''' # x\n").databaseConnection, dots);
    EXPECT_EQ(parsed("database.connection = \"\"\"" + dots + "\"\"\"\"\n").databaseConnection, dots + '"');
    EXPECT_EQ(errorOf(repeated("a.", 15) + "a = 1"), "keepsafe.toml:1:1: unknown key \"a\"");
}

TEST(ParseConfig, RefusesDeepArraysAndTables)
{
    for (const std::string& text :
         {"x = " + repeated("[", 150000), "x = " + repeated("[", 150000) + repeated("]", 150000),
          "x = " + repeated("{a = ", 100000) + "1" + repeated("}", 100000),
          "x = " + repeated("[{a = ", 100000), "x = " + repeated("{" + repeated("a.", 10) + "a = ", 20000)}) {
        EXPECT_THAT(errorOf(text), testing::HasSubstr("maximum nested value depth of 16"));
    }
}

} // namespace
} // namespace keepsafe_test
