// What others have put in the places of the slots' files.

#include <ostream>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "SlotFilesTest.h"

namespace keepsafe_test {
namespace {

namespace fs = std::filesystem;

/// Something at the place of a file or folder of the lock that is none of its own.
struct Foreign {
    const char* name;
    void (*put)(const std::string& path);
};

void PrintTo(const Foreign& foreign, std::ostream* out) { *out << foreign.name; }

const Foreign FOREIGN[] = {
    {"link_to_a_file",
     [](const std::string& path) {
         const fs::path target = fs::path(path).parent_path() / "precious";
         writeFile(target, "precious");
         fs::create_symlink(target, path);
     }},
    {"link_to_a_folder",
     [](const std::string& path) {
         const fs::path target = fs::path(path).parent_path() / "folder";
         writeFile(target / "precious", "precious");
         fs::create_symlink(target, path);
     }},
    {"link_to_nothing", [](const std::string& path) { fs::create_symlink(path + ".nothing", path); }},
    {"fifo", [](const std::string& path) { ASSERT_EQ(mkfifo(path.c_str(), 0666), 0); }},
    {"file", [](const std::string& path) { writeFile(path, "precious"); }},
    {"folder", [](const std::string& path) { writeFile(path + "/precious", "precious"); }},
};

class ForeignFilesTest : public SlotFilesTest, public testing::WithParamInterface<Foreign> {
protected:
    ~ForeignFilesTest() override
    {
        EXPECT_EQ(precious(), preciousBefore_) << "somebody else's files were changed";
    }
    void putAt(const std::string& place)
    {
        GetParam().put(place);
        preciousBefore_ = precious();
    }

private:
    /// What lies in files that are not the lock's own.
    [[nodiscard]] std::vector<std::string> precious() const
    {
        std::vector<std::string> contents;
        for (const auto& entry : fs::recursive_directory_iterator(directory.path())) {
            if (entry.path().filename() == "precious") {
                contents.push_back(readFile(entry.path()));
            }
        }
        return contents;
    }

    std::vector<std::string> preciousBefore_;
};

TEST_P(ForeignFilesTest, AreNotFollowedInPlaceOfTheFolder)
{
    putAt(folderOf(path));
    expectCorrectExclusion();
}

TEST_P(ForeignFilesTest, AreNotFollowedInPlaceOfTheFolderThatIsBeingMade)
{
    putAt(folderOf(path) + ".new");
    expectCorrectExclusion();
}

TEST_P(ForeignFilesTest, AreNotFollowedInPlaceOfThePage)
{
    makeControlPage(lock);
    fs::remove(controlOf(path));
    if (GetParam().name == std::string("file")) {
        GetParam().put(controlOf(path)); // a damaged page: see below
    } else {
        putAt(controlOf(path));
    }
    expectCorrectExclusion();
}

TEST_P(ForeignFilesTest, AreNotFollowedInPlaceOfAReadersFile)
{
    makeControlPage(lock);
    ASSERT_TRUE(getsSlot(lock));
    const std::string place = folderOf(path) + "/reader-0-0";
    if (GetParam().name == std::string("file")) {
        GetParam().put(place); // of a dead process, so it may go
    } else {
        putAt(place);
    }
    expectCorrectExclusion();
}

TEST_P(ForeignFilesTest, AreNotFollowedInPlaceOfThisProcesssFile)
{
    makeControlPage(lock);
    ASSERT_TRUE(getsSlot(lock));
    const std::string place = slotFilesOf(path).front();
    fs::remove(place);
    if (GetParam().name == std::string("file")) {
        GetParam().put(place);
    } else {
        putAt(place);
    }
    EXPECT_TRUE(makesAnotherFile(lock, place));
    expectCorrectExclusion();
}

INSTANTIATE_TEST_SUITE_P(All, ForeignFilesTest, testing::ValuesIn(FOREIGN),
                         [](const auto& foreign) { return std::string(foreign.param.name); });

} // namespace
} // namespace keepsafe_test
