#include "FileState.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using Tessara::Keepsafe::Process::FileState;

struct stat statusOfAFile()
{
    struct stat status {};
    status.st_dev = 1;
    status.st_ino = 2;
    status.st_size = 3;
    status.st_mtim = {4, 5};
    status.st_ctim = {6, 7};
    return status;
}

bool isAnotherState(const struct stat& status) { return !(FileState(status) == FileState(statusOfAFile())); }

TEST(FileState, IsTheSameWhenNothingHasChanged)
{
    EXPECT_FALSE(isAnotherState(statusOfAFile()));
    EXPECT_TRUE(FileState() == FileState());
}

TEST(FileState, IsAnotherWhenAnyPartHasChanged)
{
    struct stat device = statusOfAFile();
    device.st_dev = 0;
    EXPECT_TRUE(isAnotherState(device));
    struct stat inode = statusOfAFile();
    inode.st_ino = 0;
    EXPECT_TRUE(isAnotherState(inode));
    struct stat size = statusOfAFile();
    size.st_size = 0;
    EXPECT_TRUE(isAnotherState(size));
    struct stat modified = statusOfAFile();
    modified.st_mtim = {4, 0};
    EXPECT_TRUE(isAnotherState(modified));
    modified.st_mtim = {0, 5};
    EXPECT_TRUE(isAnotherState(modified));
    struct stat changed = statusOfAFile();
    changed.st_ctim = {6, 0};
    EXPECT_TRUE(isAnotherState(changed));
    changed.st_ctim = {0, 7};
    EXPECT_TRUE(isAnotherState(changed));
}

} // namespace
