#include "server/ListenAddress.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "errors/InputError.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::InputError;
using keepsafe_service::ListenAddress;

TEST(ListenAddress, HasAHostAndAPort)
{
    for (const char* text : {"127.0.0.1:1556", "master.example:65535", "[::1]:1"}) {
        EXPECT_EQ(ListenAddress::parse(text).text(), text);
    }
    EXPECT_EQ(ListenAddress::parse("[::1]:1556").host, "::1");
}

TEST(ListenAddress, ThatIsNoneIsRefusedWithAnExample)
{
    for (const char* text :
         {"", "127.0.0.1", "127.0.0.1:", ":1556", "127.0.0.1:0", "127.0.0.1:65536", "a:-1", "a:1b", "a:+1",
          "a:000080", "::1:1556", "[]:1556", "[::1]", "[::1:1556", "a:99999999999999999999"}) {
        EXPECT_THAT(thrownBy<InputError>([text] { (void)ListenAddress::parse(text); }).what(),
                    testing::EndsWith("wanted is ADDRESS:PORT, as in 127.0.0.1:1556 or [::1]:1556"))
            << text;
    }
}

} // namespace
} // namespace keepsafe_test
