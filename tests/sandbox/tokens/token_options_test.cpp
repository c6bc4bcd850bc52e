#include <climits>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "errors/InputError.h"
#include "support/thrown.h"
#include "tokens/token_options.h"

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::parseLifetime;
using keepsafe_sandbox::parseRoles;
using namespace std::chrono_literals;

std::string messageOf(const std::function<void()>& call)
{
    return thrownBy<keepsafe_service::InputError>(call).what();
}

TEST(Lifetime, HasANumberAndAUnit)
{
    EXPECT_EQ(parseLifetime("90s"), 90s);
    EXPECT_EQ(parseLifetime("15m"), 15min);
    EXPECT_EQ(parseLifetime("8h"), 8h);
    EXPECT_EQ(parseLifetime("3650d"), 87600h);
}

TEST(Lifetime, MayBeOverAlready) { EXPECT_EQ(parseLifetime("-1h"), -1h); }

TEST(Lifetime, IsRefusedWhenItIsNoTime)
{
    for (const std::string text :
         {"", "8", "h", "8 h", " 8h", "8h ", "8hh", "+8h", "8w", "8H", "1.5h", "-", "-h", "0x8h"}) {
        EXPECT_EQ(messageOf([&] { (void)parseLifetime(text); }),
                  "--lifetime: \"" + text + "\" is not longer than zero such as 90s, 15m, 8h or 7d");
    }
}

TEST(Lifetime, IsRefusedWhenItIsNothing)
{
    EXPECT_EQ(messageOf([] { (void)parseLifetime("0s"); }), "--lifetime: \"0s\" is not longer than zero");
    EXPECT_EQ(messageOf([] { (void)parseLifetime("-0d"); }), "--lifetime: \"-0d\" is not longer than zero");
}

TEST(Lifetime, IsRefusedWhenItIsAbsurd)
{
    for (const std::string text :
         {"3651d", "-3651d", "87601h", "5256001m", "315360001s", "9223372036854775807d",
          "-9223372036854775808s", "99999999999999999999h"}) {
        EXPECT_EQ(messageOf([&] { (void)parseLifetime(text); }),
                  "--lifetime: \"" + text + "\" is more than 3650 days");
    }
}

TEST(Roles, AreNumbersOf32BitsWithCommasBetweenThem)
{
    EXPECT_EQ(parseRoles(""), std::vector<std::int32_t>{});
    EXPECT_EQ(parseRoles("17,3,3"), (std::vector<std::int32_t>{17, 3, 3}));
    EXPECT_EQ(parseRoles("-2147483648,2147483647"), (std::vector<std::int32_t>{INT_MIN, INT_MAX}));
}

TEST(Roles, TheItemThatIsNoRoleIdIsNamed)
{
    EXPECT_EQ(messageOf([] { (void)parseRoles("1,b"); }),
              "--roles: item 2, \"b\", is not a role id of 32 bits");
    EXPECT_EQ(messageOf([] { (void)parseRoles("2147483648"); }),
              "--roles: item 1, \"2147483648\", is not a role id of 32 bits");
    EXPECT_EQ(messageOf([] { (void)parseRoles("1,,2"); }),
              "--roles: item 2, \"\", is not a role id of 32 bits");
    EXPECT_EQ(messageOf([] { (void)parseRoles("1,"); }),
              "--roles: item 2, \"\", is not a role id of 32 bits");
}

} // namespace
} // namespace keepsafe_test
