#include "cachewriter/CacheLocation.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/cache/OperationCache.h>

#include "errors/InputError.h"
#include "support/TempDir.h"

namespace {

using keepsafe_service::CacheLocation;
using keepsafe_service::InputError;

TEST(CacheLocation, IsWhereTheLibraryLooks)
{
    const keepsafe_test::TempRoot root;
    const CacheLocation location(root.path() + "/", "company");

    EXPECT_EQ(location.operationCache(), Tessara::Keepsafe::Rbac::OperationCache::fileName());
    EXPECT_EQ(location.accessCache(), root.path("wmc/webserver/temp/access-caches/company"));
}

TEST(CacheLocation, TakesARootRelativeToTheWorkingDirectory)
{
    const std::string here = std::filesystem::current_path().string();

    EXPECT_EQ(CacheLocation("ks/../root", "x").folder(), here + "/root/wmc/webserver/temp");
}

TEST(CacheLocation, RefusesAnIdThatLeavesTheFolder)
{
    for (const std::string id : {"", ".", "..", "a/b", "/a", "a\\b"}) {
        EXPECT_THROW(CacheLocation("/root", id), InputError) << "id \"" << id << '"';
    }
    EXPECT_THROW(CacheLocation("", "id"), InputError);
}

} // namespace
