#include "secrets.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using Tessara::Dal::Secrets;

constexpr const char* WITHHELD = "(the driver's message repeats a secret)";

TEST(Secrets, LeaveAMessageThatRepeatsNoneAsItIs)
{
    const Secrets secrets("Driver=SQLite3;Database=/x/main.db;Uid=keeper;Pwd=geheim;");
    for (const char* const message :
         {"", "connect failed", "password authentication failed for user \"keeper\"", "/x/main.db",
          "no pwd given", "no pwd"}) {
        EXPECT_EQ(secrets.checked(message), message);
    }
}

TEST(Secrets, FindThePasswordHoweverItsKeywordIsWritten)
{
    for (const char* const text :
         {"Pwd=geheim", "PWD=geheim;Uid=x", "Uid=x;pwd = geheim ;", "Password=geheim", "PassWord={geheim}",
          "Driver={A;B};PASSWD=geheim", "Passphrase=geheim", "AccessToken=geheim", "sslkey=geheim",
          "ClientSecret=geheim", "Uid=x;;Pwd=geheim"}) {
        EXPECT_EQ(Secrets(text).checked("no such file: geheim"), WITHHELD) << text;
    }
}

TEST(Secrets, WithholdAPasswordWithASemicolonInBraces)
{
    EXPECT_EQ(Secrets("Pwd={ge;heim};Uid=x").checked("wrong: ge;heim"), WITHHELD);
}

TEST(Secrets, WithholdAPasswordInTheOptionsOfTheClientLibrary)
{
    for (const char* const text :
         {"pqopt={password=geheim}", "PqOpt={sslmode=prefer password=geheim};Uid=x",
          "pqopt=password = geheim", "Uid=x;pqopt={sslpassword=geheim keepalives=1}"}) {
        EXPECT_EQ(Secrets(text).checked("bad option: geheim"), WITHHELD) << text;
        EXPECT_EQ(Secrets(text).checked("bad option: prefer"), "bad option: prefer") << text;
    }
}

TEST(Secrets, WithholdAMessageThatEchoesAnAssignment)
{
    const Secrets secrets("Driver=SQLite3 Pwd=geheim");
    for (const char* const message :
         {"Can't open lib 'SQLite3 Pwd=geheim'", "PASSWORD = 'x'", "xpwd=", "passwd="}) {
        EXPECT_EQ(secrets.checked(message), WITHHELD) << message;
    }
}

TEST(Secrets, AreNoneInAnEmptyValue)
{
    EXPECT_EQ(Secrets("Pwd=;Uid=x").checked("connect failed"), "connect failed");
    EXPECT_EQ(Secrets("Uid=x;Pwd=").checked("connect failed"), "connect failed");
    EXPECT_EQ(Secrets("Pwd={}").checked("connect failed"), "connect failed");
    EXPECT_EQ(Secrets("").checked("connect failed"), "connect failed");
    EXPECT_EQ(Secrets("Pwd").checked("connect failed"), "connect failed");
}

TEST(Secrets, MayStandInAStatementThatSpeaksOfThem)
{
    EXPECT_TRUE(Secrets::mentions("PRAGMA key = 'geheim'"));
    EXPECT_TRUE(Secrets::mentions("ALTER ROLE x PASSWORD 'geheim'"));
    EXPECT_FALSE(Secrets::mentions("ATTACH DATABASE '/x/auth.db' AS AUTH_MAIN"));
}

} // namespace
