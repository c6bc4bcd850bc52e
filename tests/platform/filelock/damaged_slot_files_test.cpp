// Files of the readers' slots that are removed, cut short or overwritten.

#include <algorithm>
#include <string>

#include <gmock/gmock.h>

#include "SlotFilesTest.h"

namespace keepsafe_test {
namespace {

namespace fs = std::filesystem;
using testing::SizeIs;

/// Damage to the files while this process has a slot.
class DamagedSlotFilesTest : public SlotFilesTest {
protected:
    DamagedSlotFilesTest()
    {
        makeControlPage(lock);
        EXPECT_TRUE(getsSlot(lock));
        slotFile = slotFilesOf(path).front();
    }
    /// Whatever was damaged, the next writer makes whole, and readers come back to slots.
    void expectRecovery() const
    {
        expectCorrectExclusion();
        EXPECT_TRUE(getsSlot(lock));
        expectCorrectExclusion();
        EXPECT_EQ(fs::file_size(controlOf(path)), 4096U);
        EXPECT_THAT(slotFilesOf(path), SizeIs(1));
    }

    std::string slotFile;
};

TEST_F(DamagedSlotFilesTest, FolderThatWasRemovedIsMadeAnew)
{
    fs::remove_all(folderOf(path));
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "held");
    EXPECT_TRUE(makesAnotherFile(lock, slotFile));
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, PageThatWasRemovedIsMadeAnew)
{
    fs::remove(controlOf(path));
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, PageThatWasCutShortIsReplacedAndKillsNobody)
{
    for (const unsigned size : {0U, 100U, 4095U}) {
        fs::resize_file(controlOf(path), size);
        expectRecovery();
    }
}

TEST_F(DamagedSlotFilesTest, PageThatIsTooLargeIsReplaced)
{
    fs::resize_file(controlOf(path), 8192);
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, PageOfForeignBytesIsReplaced)
{
    for (const char byte : {'\0', 'x', '\xFF'}) {
        writeFile(controlOf(path), std::string(4096, byte));
        expectRecovery();
    }
}

TEST_F(DamagedSlotFilesTest, FileThatWasRemovedIsMadeAnew)
{
    fs::remove(slotFile);
    EXPECT_TRUE(makesAnotherFile(lock, slotFile));
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, WriterGetsInWhileAProcessWhoseFileWasRemovedDoesNothing)
{
    fs::remove(slotFile);
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "held");
}

TEST_F(DamagedSlotFilesTest, FileThatWasCutShortKeepsWritersOutUntilItsProcessHasReplacedIt)
{
    fs::resize_file(slotFile, 0);
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout") << "nobody can tell what the process does";
    EXPECT_TRUE(getsSlot(lock));
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, ReaderWhoseFileWasCutShortInsideKeepsTheLock)
{
    {
        const FileLockGuard guard = take(lock, FileLock::SHARED);
        fs::resize_file(slotFile, 0);
        EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
    }
    EXPECT_TRUE(getsSlot(lock));
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, WhatOthersWriteIntoASlotLetsNobodyInOrOut)
{
    {
        const CapturedLog log;
        const FileLockGuard guard = take(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER);
        std::string bytes = readFile(slotFile);
        std::fill(bytes.begin() + 64, bytes.end(), '\xFF'); // every slot raised; the header stays
        writeFile(slotFile, bytes);
        EXPECT_EQ(tryInOtherProcess(path, "shared"), "timeout");
        EXPECT_THROW(take(lock, FileLock::SHARED), EC_exception) << "this thread holds it exclusively";
    }
    expectCorrectExclusion();
}

} // namespace
} // namespace keepsafe_test
