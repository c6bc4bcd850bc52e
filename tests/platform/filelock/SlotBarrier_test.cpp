#include "SlotBarrier.h"

#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "CoarseClock.h"
#include "LockFile.h"
#include "ReaderSlots.h"
#include "enter_soon.h"
#include "support/TempDir.h"

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

namespace fs = std::filesystem;

class SlotBarrierTest : public testing::Test {
protected:
    SlotBarrierTest()
    {
        keepsafe_test::writeFile(path, "");
        settings.pathCheckInterval = std::chrono::milliseconds(0); // look each time
        settings.registrationRetry = std::chrono::milliseconds(0);
    }
    static void raise(SlotBarrier& raised)
    {
        EXPECT_TRUE(raised.raise());
        raised.confirm();
    }
    void makePage()
    {
        raise(barrier);
        barrier.lower();
    }
    static bool canEnterSoon(ReaderSlots& readers)
    {
        ReaderSlots::leave(*enterSoon(readers).slot);
        return true;
    }
    static bool canEnter(ReaderSlots& readers)
    {
        const ReaderSlots::Hold hold = readers.tryEnter();
        if (hold.slot != nullptr) {
            ReaderSlots::leave(*hold.slot);
        }
        return hold.slot != nullptr;
    }

    const keepsafe_test::TempDir directory;
    const std::string path = directory.path("lock");
    LockSettings settings;
    SlotBarrier barrier{path, settings};
};

TEST_F(SlotBarrierTest, IsNotRaisedAtFirst) { EXPECT_FALSE(barrier.isRaised()); }

TEST_F(SlotBarrierTest, KeepsReadersOutWhileItIsRaised)
{
    makePage();
    ReaderSlots readers(path, settings);
    EXPECT_TRUE(canEnterSoon(readers));
    raise(barrier);
    EXPECT_FALSE(canEnter(readers));
    EXPECT_TRUE(barrier.isClear());
    barrier.lower();
    EXPECT_TRUE(canEnterSoon(readers));
}

TEST_F(SlotBarrierTest, IsClearWhenThoseInsideHaveLeft)
{
    makePage();
    ReaderSlots readers(path, settings);
    const ReaderSlots::Hold hold = enterSoon(readers);
    ASSERT_NE(hold.slot, nullptr);
    raise(barrier);
    EXPECT_FALSE(barrier.isClear());
    ReaderSlots::leave(*hold.slot);
    EXPECT_TRUE(barrier.isClear());
}

TEST_F(SlotBarrierTest, WaitsForReadersOnANewPageOnly)
{
    settings.newPageWait = std::chrono::milliseconds(30);
    const auto timeOfRaise = [&] {
        const std::int64_t startMs = Process::coarseMilliseconds(); // the clock by which both sides wait
        makePage();
        return std::chrono::milliseconds(Process::coarseMilliseconds() - startMs);
    };
    EXPECT_GE(timeOfRaise(), settings.newPageWait);
    settings.newPageWait = std::chrono::hours(1); // would not end
    timeOfRaise();
}

TEST_F(SlotBarrierTest, TakesThePageThatAnotherWriterMakesWhileItWaits)
{
    LockSettings patience = settings;
    patience.newPageWait = std::chrono::milliseconds(300);
    SlotBarrier waiting(path, patience);
    settings.newPageWait = std::chrono::milliseconds(0);
    std::thread another([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        makePage();
    });
    raise(waiting);
    another.join();
    EXPECT_TRUE(waiting.isInForce());
    ReaderSlots readers(path, settings);
    EXPECT_FALSE(canEnter(readers));
    waiting.lower();
    EXPECT_TRUE(canEnterSoon(readers));
}

TEST_F(SlotBarrierTest, RaisedEarlyItMakesNothing)
{
    barrier.raiseEarly();
    EXPECT_FALSE(barrier.isRaised());
    EXPECT_FALSE(fs::exists(SlotFolder::pathFor(path)));
}

TEST_F(SlotBarrierTest, RaisedEarlyItKeepsReadersOutAndIsInForce)
{
    makePage();
    ReaderSlots readers(path, settings);
    ASSERT_TRUE(canEnterSoon(readers));
    barrier.raiseEarly();
    EXPECT_TRUE(barrier.isInForce());
    EXPECT_FALSE(canEnter(readers));
}

TEST_F(SlotBarrierTest, IsNotInForceAnyMoreWhenAnotherWriterHasBeenIn)
{
    makePage();
    barrier.raiseEarly();
    SlotBarrier other(path, settings);
    raise(other);
    EXPECT_FALSE(barrier.isInForce());
    EXPECT_TRUE(other.isInForce());
    other.lower();
    EXPECT_FALSE(barrier.isInForce());
}

TEST_F(SlotBarrierTest, LoweringDoesNotUndoAnotherWritersRaising)
{
    makePage();
    ReaderSlots readers(path, settings);
    ASSERT_TRUE(canEnterSoon(readers));
    barrier.raiseEarly();
    SlotBarrier other(path, settings);
    raise(other);
    barrier.lower();
    EXPECT_FALSE(canEnter(readers));
    other.lower();
    EXPECT_TRUE(canEnterSoon(readers));
}

TEST_F(SlotBarrierTest, RaisedEarlyItTakesNoCountFromAnotherWriter)
{
    makePage();
    raise(barrier);
    SlotBarrier other(path, settings);
    other.raiseEarly();
    EXPECT_FALSE(other.isRaised());
    EXPECT_TRUE(barrier.isInForce());
}

TEST_F(SlotBarrierTest, LetsNobodyInAgainUnlessItWasConfirmed)
{
    makePage();
    ReaderSlots readers(path, settings);
    ASSERT_TRUE(canEnterSoon(readers));
    EXPECT_TRUE(barrier.raise());
    barrier.lower();
    EXPECT_FALSE(canEnter(readers)) << "another writer may have been inside";
    makePage();
    EXPECT_TRUE(canEnterSoon(readers));
}

TEST_F(SlotBarrierTest, IsNotInForceAnyMoreWhenThePageOrTheFolderIsAnotherOne)
{
    const std::string folder = SlotFolder::pathFor(path);
    for (const std::string& moved : {folder + '/' + SlotFolder::CONTROL, folder}) {
        raise(barrier);
        EXPECT_TRUE(barrier.isInForce());
        fs::rename(moved, moved + ".away");
        EXPECT_FALSE(barrier.isInForce());
        fs::create_symlink(moved + ".away", moved);
        EXPECT_FALSE(barrier.isInForce()) << "through a link";
        fs::remove(moved);
    }
}

TEST_F(SlotBarrierTest, WaitsForReadersWhoseFileWasRemoved)
{
    makePage();
    ReaderSlots readers(path, settings);
    const ReaderSlots::Hold hold = enterSoon(readers);
    ASSERT_NE(hold.slot, nullptr);
    for (const SlotFolder::Reader& reader : SlotFolder(SlotFolder::pathFor(path)).readers()) {
        fs::remove(SlotFolder::pathFor(path) + '/' + reader.name);
    }
    settings.newPageWait = std::chrono::milliseconds(30);
    const std::int64_t startMs = Process::coarseMilliseconds(); // the clock by which both sides wait
    raise(barrier);
    EXPECT_TRUE(barrier.isClear());
    EXPECT_GE(Process::coarseMilliseconds() - startMs, settings.newPageWait.count());
    ReaderSlots::leave(*hold.slot);
}

TEST_F(SlotBarrierTest, WriterThatDiesLeavesReadersOutUntilTheNextOneHasBeenIn)
{
    makePage();
    std::optional<SlotBarrier> dying;
    dying.emplace(path, settings);
    raise(*dying);
    dying->forgetInChild(); // as after its death: nobody lowers it
    ReaderSlots readers(path, settings);
    EXPECT_FALSE(canEnter(readers));
    raise(barrier);
    EXPECT_TRUE(barrier.isClear());
    barrier.lower();
    EXPECT_TRUE(canEnterSoon(readers));
}

TEST_F(SlotBarrierTest, LockFileWithAnotherNameIsNeverRaisedEarly)
{
    makePage();
    fs::create_hard_link(path, path + ".other");
    barrier.raiseEarly();
    EXPECT_FALSE(barrier.isRaised());
}

TEST_F(SlotBarrierTest, WaitsForReadersByAnotherNameOfTheLockFile)
{
    makePage();
    fs::create_hard_link(path, path + ".other");
    settings.newPageWait = std::chrono::milliseconds(30);
    const std::int64_t startMs = Process::coarseMilliseconds();
    raise(barrier);
    EXPECT_GE(Process::coarseMilliseconds() - startMs, settings.newPageWait.count());
    EXPECT_TRUE(barrier.isInForce());
}

TEST_F(SlotBarrierTest, MakesNoPageForALockFileThatIsMissing)
{
    fs::remove(path);
    EXPECT_TRUE(barrier.raise());
    EXPECT_FALSE(barrier.isInForce());
    EXPECT_FALSE(fs::exists(SlotFolder::pathFor(path) + '/' + SlotFolder::CONTROL));
}

TEST_F(SlotBarrierTest, NobodyIsInsideWhereThereCanBeNoFolder)
{
    fs::create_symlink("loop", directory.path("loop"));
    for (const std::string& lock : {directory.path("nothing") + "/lock", directory.path("loop") + "/lock"}) {
        SlotBarrier nowhere(lock, settings);
        EXPECT_TRUE(nowhere.raise());
        EXPECT_FALSE(nowhere.isInForce());
        EXPECT_TRUE(nowhere.isClear());
    }
}

TEST_F(SlotBarrierTest, NameWithoutAFolderIsInTheCurrentOne)
{
    const fs::path before = fs::current_path();
    fs::current_path(directory.path());
    const std::string name = "lock";
    {
        SlotBarrier relative(name, settings);
        raise(relative);
        EXPECT_TRUE(relative.isInForce());
    }
    fs::current_path(before);
    ReaderSlots readers(path, settings);
    EXPECT_TRUE(canEnterSoon(readers));
}

TEST_F(SlotBarrierTest, IsNotClearWhenTheFolderIsRemovedWhileAReaderIsInside)
{
    makePage();
    ReaderSlots readers(path, settings);
    const ReaderSlots::Hold hold = enterSoon(readers);
    raise(barrier);
    fs::remove_all(SlotFolder::pathFor(path));
    EXPECT_FALSE(barrier.isClear());
    EXPECT_FALSE(barrier.isInForce());
    ReaderSlots::leave(*hold.slot);
}

TEST_F(SlotBarrierTest, ReaderWhoseFileIsNotWholeCountsAsInsideUntilItMustHaveLooked)
{
    makePage();
    const std::string folder = SlotFolder::pathFor(path) + '/';
    const auto cut = [](const std::string& file) { fs::resize_file(file, 0); };
    const auto cutBehindItsHeader = [](const std::string& file) { fs::resize_file(file, 100); };
    const auto overwrite = [](const std::string& file) {
        keepsafe_test::writeFile(file, std::string(sizeof(SlotFile), 'x'));
    };
    for (void (*const damage)(const std::string&) : {+cut, +cutBehindItsHeader, +overwrite}) {
        ReaderSlots readers(path, settings);
        ASSERT_TRUE(canEnterSoon(readers));
        damage(folder + SlotFolder(folder).readers().front().name);
        settings.newPageWait = std::chrono::hours(1);
        raise(barrier);
        EXPECT_FALSE(barrier.isClear());
        settings.newPageWait = std::chrono::milliseconds(0);
        EXPECT_TRUE(barrier.isClear());
        barrier.lower();
    }
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
