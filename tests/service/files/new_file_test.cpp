#include <cstddef>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "files/FileError.h"
#include "files/new_file.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::createFile;
using keepsafe_service::ensureFolder;
using keepsafe_service::EVERYBODY;
using keepsafe_service::FileError;
using keepsafe_service::OWNER_ONLY;
namespace fs = std::filesystem;

mode_t modeOf(const std::string& path)
{
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

class NewFile : public testing::Test {
protected:
    [[nodiscard]] std::size_t entries() const
    {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(dir_.path()), fs::directory_iterator()));
    }

    TempDir dir_;
};

TEST_F(NewFile, HasItsContentAndTheModeAskedForWhateverTheUmask)
{
    const mode_t before = ::umask(0);
    EXPECT_TRUE(createFile(dir_.path("secret"), OWNER_ONLY, "text"));
    ::umask(077);
    EXPECT_TRUE(createFile(dir_.path("open"), EVERYBODY, ""));
    ::umask(before);

    EXPECT_EQ(readFile(dir_.path("secret")), "text");
    EXPECT_EQ(modeOf(dir_.path("secret")), 0600U);
    EXPECT_EQ(modeOf(dir_.path("open")), 0644U);
    EXPECT_EQ(entries(), 2U) << "nothing else is left";
}

TEST_F(NewFile, NeverReplacesWhatIsThere)
{
    writeFile(dir_.path("file"), "before");
    fs::create_symlink(dir_.path("nowhere"), dir_.path("link"));

    EXPECT_FALSE(createFile(dir_.path("file"), OWNER_ONLY, "after"));
    EXPECT_FALSE(createFile(dir_.path("link"), OWNER_ONLY, "after"));

    EXPECT_EQ(readFile(dir_.path("file")), "before");
    EXPECT_FALSE(fs::exists(dir_.path("nowhere")));
    EXPECT_EQ(entries(), 2U);
}

TEST_F(NewFile, NamesTheFolderThatIsMissing)
{
    EXPECT_THAT(thrownBy<FileError>([this] { createFile(dir_.path("none/file"), OWNER_ONLY, ""); }).what(),
                testing::StartsWith("cannot create " + dir_.path("none/file.")));
}

TEST_F(NewFile, AFolderIsMadeWithItsModeAndKeptAsItIs)
{
    ensureFolder(dir_.path("a/b/private"), 0700);
    EXPECT_EQ(modeOf(dir_.path("a/b/private")), 0700U);

    ensureFolder(dir_.path("a/b/private"), 0755);
    EXPECT_EQ(modeOf(dir_.path("a/b/private")), 0700U);
}

TEST_F(NewFile, AFolderAndThoseAboveItHaveTheirModesWhateverTheUmask)
{
    for (const mode_t mask : {0U, 077U}) {
        const std::string top = dir_.path(std::to_string(mask));
        const mode_t before = ::umask(mask);
        ensureFolder(top + "/below", 0700);
        ensureFolder(top + "/open", 0755);
        ::umask(before);
        EXPECT_EQ(modeOf(top), 0755U) << mask;
        EXPECT_EQ(modeOf(top + "/below"), 0700U) << mask;
        EXPECT_EQ(modeOf(top + "/open"), 0755U) << mask;
    }
}

TEST_F(NewFile, AFileInTheFoldersPlaceIsRefused)
{
    writeFile(dir_.path("file"), "");
    EXPECT_THROW(ensureFolder(dir_.path("file"), 0755), FileError);
    EXPECT_THROW(ensureFolder(dir_.path("file/below"), 0755), FileError);
}

} // namespace
} // namespace keepsafe_test
