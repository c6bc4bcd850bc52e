#include <keepsafe/platform/status/EC_exception.h>

#include <stdexcept>
#include <type_traits>

#include <gtest/gtest.h>

#include <keepsafe/platform/status/status_codes.h>

namespace {

namespace Status = Tessara::Keepsafe::Status;

static_assert(std::is_base_of_v<std::runtime_error, EC_exception>);
static_assert(std::is_nothrow_copy_constructible_v<EC_exception>);

TEST(EcException, CarriesItsStatusAndTheTextOfThatStatus)
{
    const EC_exception exception(Status::CACHE_UNUSABLE);
    EXPECT_EQ(exception.status(), 12);
    EXPECT_EQ(exception.what(), getECmsg(12));
}

TEST(EcException, CarriesAStatusThatHasNoTextOfItsOwn)
{
    const EC_exception exception(4711);
    EXPECT_EQ(exception.status(), 4711);
    EXPECT_STREQ(exception.what(), "status 4711 has no message text");
}

TEST(EcException, IsCaughtAsARuntimeErrorAcrossTheLibraryBoundary)
{
    try {
        throw EC_exception(Status::MALFORMED_DOCUMENT);
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), getECmsg(7610));
        EXPECT_NE(dynamic_cast<const EC_exception*>(&error), nullptr);
    }
}

TEST(EcException, KeepsStatusAndTextWhenCopiedAndAssigned)
{
    EC_exception target(Status::SUCCESS);
    const EC_exception source(Status::TOKEN_EXPIRED);
    target = source;
    EXPECT_EQ(target.status(), 8001);
    EXPECT_EQ(target.what(), getECmsg(8001));
}

} // namespace
