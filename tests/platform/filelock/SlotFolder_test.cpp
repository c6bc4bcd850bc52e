#include "SlotFolder.h"

#include <algorithm>
#include <cerrno>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

namespace fs = std::filesystem;
using Tessara::Keepsafe::Platform::filelock::SlotFolder;

class SlotFolderTest : public testing::Test {
protected:
    SlotFolderTest() { fs::create_directory(path); }

    /// Why a file of that name cannot be opened; 0 when it can.
    [[nodiscard]] int refusal(const char* name) const
    {
        struct stat status {};
        return SlotFolder(path).openFile(name, O_RDONLY, status).isOpen() ? 0 : errno;
    }

    const TempDir directory;
    const std::string path = SlotFolder::pathFor(directory.path("lock"));
};

TEST_F(SlotFolderTest, StandsBesideTheLockFile) { EXPECT_EQ(SlotFolder::pathFor("/a/b"), "/a/b.readers"); }

TEST_F(SlotFolderTest, StandsBesideALinkThatLeadsNowhere)
{
    const std::string link = directory.path("link");
    fs::create_symlink(directory.path("nothing"), link);
    EXPECT_EQ(SlotFolder::pathFor(link), link + ".readers");
}

TEST_F(SlotFolderTest, OpensAFolderAndNothingElse)
{
    writeFile(directory.path("file"), "");
    fs::create_directory_symlink(path, directory.path("link"));
    EXPECT_TRUE(SlotFolder(path).isOpen());
    EXPECT_EQ(SlotFolder(directory.path("nothing")).error(), ENOENT);
    EXPECT_EQ(SlotFolder(directory.path("file")).error(), ENOTDIR);
    EXPECT_EQ(SlotFolder(directory.path("link")).error(), ENOTDIR);
}

TEST_F(SlotFolderTest, OpensRegularFilesAndNothingElse)
{
    writeFile(path + "/file", "");
    fs::create_symlink(path + "/file", path + "/link");
    fs::create_directory(path + "/folder");
    ASSERT_EQ(mkfifo((path + "/fifo").c_str(), 0666), 0);
    EXPECT_EQ(refusal("file"), 0);
    EXPECT_EQ(refusal("nothing"), ENOENT);
    for (const char* other : {"link", "folder", "fifo"}) {
        EXPECT_EQ(refusal(other), ELOOP) << other;
    }
}

TEST_F(SlotFolderTest, ListsReadersFilesEachTimeAnew)
{
    const SlotFolder folder(path);
    EXPECT_TRUE(folder.readers().empty());
    for (const char* name : {"control", "reader-1-a", "reader-2-b", "other"}) {
        writeFile(path + '/' + name, "");
    }
    const auto readers = folder.readers();
    ASSERT_EQ(readers.size(), 2U);
    for (const SlotFolder::Reader& reader : readers) {
        struct stat status {};
        ASSERT_EQ(stat((path + '/' + reader.name).c_str(), &status), 0);
        EXPECT_EQ(reader.inode, status.st_ino);
    }
    EXPECT_EQ(folder.readers().size(), 2U);
}

TEST_F(SlotFolderTest, SystemsOwnFileSystemsAreNotForSlots)
{
    EXPECT_TRUE(SlotFolder(path).isCoherent());
    EXPECT_FALSE(SlotFolder("/proc/self").isCoherent());
    EXPECT_FALSE(SlotFolder("/sys").isCoherent());
}

} // namespace
} // namespace keepsafe_test
