#include <filesystem>
#include <map>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "cachewriter/publish_cache.h"
#include "files/PosixFileSystem.h"
#include "service/support/Generations.h"
#include "support/TempDir.h"

/// Who may read what is published does not depend on the umask of the process that publishes.

namespace keepsafe_test {
namespace {

using keepsafe_service::CacheLocation;
using keepsafe_service::OperationBits;
using keepsafe_service::Renumber;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
namespace fs = std::filesystem;

class PublishedModes : public testing::TestWithParam<mode_t> {
protected:
    PublishedModes() : before_(::umask(GetParam())) {}
    ~PublishedModes() override { ::umask(before_); }

    void publish(const OperationBits& operations)
    {
        keepsafe_service::PosixFileSystem fileSystem;
        keepsafe_service::publishCache(fileSystem, location_, ObjectNamespace("VAULT"), imageOfGeneration(1),
                                       operations, Renumber::Refuse);
    }

    static unsigned modeOf(const fs::path& path)
    {
        struct stat status = {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777U;
    }

    const mode_t before_;
    TempDir dir_;
    CacheLocation location_{dir_.path("root"), "vault"};
};

INSTANTIATE_TEST_SUITE_P(Umasks, PublishedModes, testing::Values(0U, 022U, 077U));

TEST_P(PublishedModes, LetEverybodyReadAndOnlyTheOwnerWrite)
{
    publish({{ObjectNamespace("VIEW"), 0}});
    int files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(dir_.path("root"))) {
        EXPECT_EQ(modeOf(entry), entry.is_directory() ? 0755U : 0644U) << entry.path();
        files += entry.is_directory() ? 0 : 1;
    }
    EXPECT_GE(files, 8) << "six of the cache, the operation cache and its lock";
}

TEST_P(PublishedModes, AreKeptAsNarrowAsAnOperatorHasMadeThem)
{
    const fs::path manifest = location_.accessCache() + "/manifest.json";
    publish({{ObjectNamespace("VIEW"), 0}});
    fs::permissions(location_.operationCache(), fs::perms(0640));
    fs::permissions(manifest, fs::perms(0640));
    fs::remove(location_.operationCache() + ".lck");

    publish({{ObjectNamespace("ADD"), 1}});

    EXPECT_EQ(modeOf(manifest), 0640U);
    EXPECT_EQ(modeOf(location_.operationCache()), 0640U) << "although it was replaced";
    EXPECT_EQ(modeOf(location_.operationCache() + ".lck"), 0640U);
}

} // namespace
} // namespace keepsafe_test
