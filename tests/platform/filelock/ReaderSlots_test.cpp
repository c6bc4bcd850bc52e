#include "ReaderSlots.h"

#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "SlotBarrier.h"
#include "enter_soon.h"
#include "support/TempDir.h"

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

namespace fs = std::filesystem;
using Hold = ReaderSlots::Hold;

class ReaderSlotsTest : public testing::Test {
protected:
    ReaderSlotsTest()
    {
        keepsafe_test::writeFile(path, "");
        settings.registrationRetry = std::chrono::milliseconds(0);
        SlotBarrier writer(path, settings);
        EXPECT_TRUE(writer.raise());
        writer.confirm();
    }
    [[nodiscard]] std::size_t files() const { return SlotFolder(SlotFolder::pathFor(path)).readers().size(); }

    const keepsafe_test::TempDir directory;
    const std::string path = directory.path("lock");
    LockSettings settings;
};

TEST_F(ReaderSlotsTest, FirstUseMakesTheFileAndTheEndRemovesIt)
{
    {
        ReaderSlots readers(path, settings);
        EXPECT_EQ(files(), 0U);
        const Hold hold = enterSoon(readers);
        ASSERT_NE(hold.slot, nullptr);
        EXPECT_EQ(files(), 1U);
        ReaderSlots::leave(*hold.slot);
    }
    EXPECT_EQ(files(), 0U);
}

TEST_F(ReaderSlotsTest, FileStaysWhereAnotherOneHasTakenItsName)
{
    {
        ReaderSlots readers(path, settings);
        ReaderSlots::leave(*enterSoon(readers).slot);
        const std::string file =
            SlotFolder::pathFor(path) + '/' + SlotFolder(SlotFolder::pathFor(path)).readers().front().name;
        fs::remove(file);
        keepsafe_test::writeFile(file, "");
    }
    EXPECT_EQ(files(), 1U);
}

TEST_F(ReaderSlotsTest, AreNotUsedWhereTheSettingsSaySo)
{
    settings.slots = false;
    ReaderSlots readers(path, settings);
    EXPECT_EQ(readers.tryEnter().slot, nullptr);
    EXPECT_EQ(files(), 0U);
}

TEST_F(ReaderSlotsTest, AreNotGivenForALockFileThatIsNoneOrCannotBeRead)
{
    fs::remove(path);
    ReaderSlots readers(path, settings);
    EXPECT_EQ(readers.tryEnter().slot, nullptr);
    fs::create_directory(path);
    ReaderSlots others(path, settings);
    EXPECT_EQ(others.tryEnter().slot, nullptr);
}

TEST_F(ReaderSlotsTest, HoldAtALookTellsNoWritesAndTheNextOneDoes)
{
    settings.pathCheckInterval = std::chrono::hours(1);
    ReaderSlots readers(path, settings);
    for (const bool looks : {true, false}) {
        const Hold hold = enterSoon(readers);
        EXPECT_EQ(hold.writes == 0, looks);
        ReaderSlots::leave(*hold.slot);
    }
}

TEST_F(ReaderSlotsTest, ThreadHoldsUntilItsLastLeave)
{
    ReaderSlots readers(path, settings);
    const Hold outer = enterSoon(readers);
    const Hold inner = enterSoon(readers);
    EXPECT_EQ(inner.slot, outer.slot);
    ReaderSlots::leave(*inner.slot);
    EXPECT_TRUE(readers.isHeldByThisThread());
    std::thread([&] { EXPECT_FALSE(readers.isHeldByThisThread()); }).join();
    ReaderSlots::leave(*outer.slot);
    EXPECT_FALSE(readers.isHeldByThisThread());
}

TEST_F(ReaderSlotsTest, FilesAreNotRenewedWhileAThreadIsInside)
{
    settings.pathCheckInterval = std::chrono::milliseconds(0);
    ReaderSlots readers(path, settings);
    const Hold outer = enterSoon(readers);
    ASSERT_NE(outer.slot, nullptr);
    for (const SlotFolder::Reader& reader : SlotFolder(SlotFolder::pathFor(path)).readers()) {
        fs::remove(SlotFolder::pathFor(path) + '/' + reader.name);
    }
    std::thread([&] { EXPECT_EQ(readers.tryEnter().slot, nullptr) << "it takes the kernel lock"; }).join();
    const Hold nested = readers.tryEnter();
    EXPECT_EQ(nested.slot, outer.slot) << "a thread that is inside stays so";
    EXPECT_EQ(nested.writes, 0U);
    ReaderSlots::leave(*nested.slot);
    ReaderSlots::leave(*outer.slot);
    const Hold again = enterSoon(readers);
    ASSERT_NE(again.slot, nullptr);
    EXPECT_EQ(files(), 1U);
    ReaderSlots::leave(*again.slot);
}

TEST_F(ReaderSlotsTest, ReplacedLockFileIsNoticedAtALook)
{
    settings.pathCheckInterval = std::chrono::milliseconds(0);
    ReaderSlots readers(path, settings);
    ReaderSlots::leave(*enterSoon(readers).slot);
    const std::string before = SlotFolder(SlotFolder::pathFor(path)).readers().front().name;
    keepsafe_test::writeFile(path + ".new", "");
    fs::rename(path + ".new", path);
    ReaderSlots::leave(*enterSoon(readers).slot);
    ASSERT_EQ(files(), 1U);
    EXPECT_NE(SlotFolder(SlotFolder::pathFor(path)).readers().front().name, before);
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
