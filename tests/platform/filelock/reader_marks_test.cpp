#include "reader_marks.h"

#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "support/TempDir.h"

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

class ReaderMarksTest : public testing::Test {
protected:
    ReaderMarksTest() { keepsafe_test::writeFile(path, ""); }

    [[nodiscard]] Process::Descriptor open() const
    {
        return Process::Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    }
    void mark(ino_t file)
    {
        readers.push_back(open());
        EXPECT_TRUE(markReader(readers.back(), file));
    }
    [[nodiscard]] bool isAnyUnlisted(const std::vector<ino_t>& listed) const
    {
        std::vector<SlotFolder::Reader> files;
        for (const ino_t inode : listed) {
            files.push_back({"", inode});
        }
        return hasUnlistedReader(open(), files);
    }

    const keepsafe_test::TempDir directory;
    const std::string path = directory.path("control");
    std::vector<Process::Descriptor> readers;
};

constexpr ino_t LARGEST = 0x7FFFFFFFFFFFFFFF;

TEST_F(ReaderMarksTest, NobodyIsUnlistedWithoutReaders)
{
    EXPECT_FALSE(isAnyUnlisted({}));
    EXPECT_FALSE(isAnyUnlisted({1, 2}));
}

TEST_F(ReaderMarksTest, ReaderIsUnlistedUnlessItsFileIsListed)
{
    for (const ino_t file : {ino_t{0}, ino_t{1}, ino_t{4000000000}, LARGEST}) {
        readers.clear();
        mark(file);
        EXPECT_TRUE(isAnyUnlisted({}));
        EXPECT_TRUE(isAnyUnlisted({file / 2 + 7}));
        EXPECT_FALSE(isAnyUnlisted({file}));
    }
}

TEST_F(ReaderMarksTest, LongerLockOfSomebodyElseCountsAsUnlisted)
{
    readers.push_back(open());
    struct flock longer {};
    longer.l_type = F_RDLCK;
    longer.l_whence = SEEK_SET;
    longer.l_start = 5;
    longer.l_len = 2;
    ASSERT_EQ(fcntl(readers.back().get(), F_OFD_SETLK, &longer), 0);
    EXPECT_TRUE(isAnyUnlisted({5, 6}));
}

TEST_F(ReaderMarksTest, OneOfManyIsFound)
{
    std::vector<ino_t> files;
    for (ino_t file = 0; file < 200; file += 3) {
        files.push_back(file);
        mark(file);
    }
    mark(LARGEST);
    files.push_back(LARGEST);
    EXPECT_FALSE(isAnyUnlisted(files));
    for (std::size_t i = 0; i < files.size(); ++i) {
        std::vector<ino_t> others = files;
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
        EXPECT_TRUE(isAnyUnlisted(others));
    }
}

TEST_F(ReaderMarksTest, MarkGoesWithItsOpenFile)
{
    mark(5);
    readers.clear();
    EXPECT_FALSE(isAnyUnlisted({}));
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
