// The protocol between readers with slots and writers, in every order in which its steps can happen.

#include <chrono>
#include <cstddef>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "Explorer.h"

namespace keepsafe_test::protocol {
namespace {

// With sanitizers or counters a search takes several times as long and as much memory, and what they look for
// does not depend on the number of actors.
#ifdef PROTOCOL_FEWER_ACTORS
constexpr std::size_t PROCESSES = 2;
constexpr std::size_t REGISTRATIONS_AFTER_DAMAGE = 1;
#else
constexpr std::size_t PROCESSES = 3;
constexpr std::size_t REGISTRATIONS_AFTER_DAMAGE = 2;
#endif

constexpr const char* BOTH_INSIDE = "somebody reads while a writer is inside";
constexpr const char* FILE_REMOVED = "the file of a living process has been removed";
constexpr const char* FILES_LEFT = "a writer has left files of the dead";
constexpr const char* WRITER_SHUT_OUT = "a writer cannot get in although nobody holds the lock";
constexpr const char* READER_SHUT_OUT = "a reader cannot get in although no writer lives";

void tell(const Exploration& found)
{
    testing::Test::RecordProperty("states", std::to_string(found.states));
    std::cout << found.states << " states, " << found.steps << " steps\n" << found.trace;
}

/// Also that the search has been where the rules matter.
void expectSound(const Configuration& configuration, bool askProgress = true)
{
    const Exploration found = explore(configuration, askProgress);
    tell(found);
    EXPECT_EQ(found.broken, "") << found.trace;
    EXPECT_GT(found.readersInside, 0U);
    EXPECT_GT(found.writersInside, 0U);
}

void expectBroken(Configuration configuration, Variant variant, const char* rule, bool askProgress = true)
{
    configuration.variant = variant;
    const Exploration found = explore(configuration, askProgress);
    tell(found);
    EXPECT_EQ(found.broken, rule);
}

// Two writers that wait outside, take each other's barrier over and give up make many states of each one of
// the readers'. So where two writers are needed there are few readers, or nobody dies; where it is the
// readers who do much, there is one writer.

Configuration twoThreads()
{
    Configuration configuration;
    configuration.processes = 1;
    configuration.threads = 2;
    configuration.readerWithoutSlots = true;
    return configuration;
}

Configuration withNewcomer(std::size_t writers)
{
    Configuration configuration;
    configuration.processes = writers == 1 ? PROCESSES : 2;
    configuration.newcomers = 1;
    configuration.writers = writers;
    configuration.readerWithoutSlots = writers == 1;
    configuration.deaths = writers == 1;
    return configuration;
}

Configuration renewal(std::size_t threads, std::size_t writers = 1)
{
    Configuration configuration;
    configuration.processes = threads == 1 ? 2 : 1;
    configuration.newcomers = threads == 1 ? 1 : 0;
    configuration.threads = threads;
    configuration.writers = writers;
    configuration.registrations = 2;
    configuration.lockFileIsReplaced = true;
    configuration.deaths = writers == 1;
    return configuration;
}

Configuration removedPage(std::size_t writers)
{
    Configuration configuration;
    configuration.processes = writers == 1 ? 2 : 1;
    configuration.newcomers = writers == 1 ? 1 : 0;
    configuration.writers = writers;
    configuration.registrations = 2;
    configuration.pageIsRemoved = true;
    return configuration;
}

Configuration lostLock(std::size_t processes = 1)
{
    Configuration configuration;
    configuration.processes = processes;
    configuration.lockIsLost = true;
    configuration.deaths = processes == 1;
    return configuration;
}

Configuration lostLockAndRemovedPage()
{
    Configuration configuration;
    configuration.processes = 1;
    configuration.registrations = 2;
    configuration.pageIsRemoved = true;
    configuration.lockIsLost = true;
    configuration.deaths = false;
    return configuration;
}

Configuration damagedPage(bool lockIsLost)
{
    Configuration configuration = lostLockAndRemovedPage();
    configuration.pageIsRemoved = false;
    configuration.pageIsDamaged = true;
    configuration.registrations = lockIsLost ? REGISTRATIONS_AFTER_DAMAGE : 2;
    configuration.lockIsLost = lockIsLost;
    configuration.deaths = !lockIsLost;
    return configuration;
}

Configuration removedFile(std::size_t processes, std::size_t writers)
{
    Configuration configuration;
    configuration.processes = processes;
    configuration.newcomers = processes - 1;
    configuration.writers = writers;
    configuration.registrations = 2;
    configuration.fileIsRemoved = true;
    return configuration;
}

Configuration foreignRaising()
{
    Configuration configuration;
    configuration.processes = 1;
    configuration.slotsAreWritten = true;
    return configuration;
}

// Two threads of one process, one of which closes the door while the other one is on its way in.
Configuration removedPageUnderThreads()
{
    Configuration configuration;
    configuration.processes = 1;
    configuration.threads = 2;
    configuration.writers = 1;
    configuration.registrations = 2;
    configuration.pageIsRemoved = true;
    return configuration;
}

TEST(ReaderSlotsProtocol, ExcludesWithTwoProcesses) { expectSound({}); }

TEST(ReaderSlotsProtocol, ExcludesWithTwoThreadsOfOneProcess) { expectSound(twoThreads()); }

TEST(ReaderSlotsProtocol, ExcludesWithANewcomer) { expectSound(withNewcomer(1)); }

TEST(ReaderSlotsProtocol, ExcludesWithANewcomerAndTwoWriters) { expectSound(withNewcomer(2)); }

TEST(ReaderSlotsProtocol, ExcludesWhileAProcessRenewsItsFile) { expectSound(renewal(1)); }

TEST(ReaderSlotsProtocol, ExcludesWhileAProcessRenewsItsFileUnderItsThreads)
{
    expectSound(renewal(2));
    expectSound(renewal(2, 2));
}

TEST(ReaderSlotsProtocol, ExcludesAfterTheControlPageWasRemoved)
{
    expectSound(removedPage(1));
    expectSound(removedPage(2));
}

TEST(ReaderSlotsProtocol, ExcludesWhenARemovedControlPageCannotBeMadeAgain)
{
    for (const std::size_t writers : {1U, 2U}) {
        Configuration configuration = removedPage(writers);
        configuration.pageCannotBeMade = true;
        expectSound(configuration);
    }
}

TEST(ReaderSlotsProtocol, ExcludesAfterTheControlPageWasRemovedUnderThreads)
{
    expectSound(removedPageUnderThreads());
}

TEST(ReaderSlotsProtocol, ExcludesAfterTheControlPageWasRemovedAndOneWriterLosesItsLock)
{
    expectSound(lostLockAndRemovedPage());
}

TEST(ReaderSlotsProtocol, ExcludesAfterTheControlPageWasDamaged) { expectSound(damagedPage(false)); }

TEST(ReaderSlotsProtocol, ExcludesAfterTheControlPageWasDamagedAndOneWriterLosesItsLock)
{
    expectSound(damagedPage(true));
}

TEST(ReaderSlotsProtocol, ExcludesAfterTheFileOfAProcessWasRemoved)
{
    expectSound(removedFile(2, 1));
    expectSound(removedFile(1, 2));
}

TEST(ReaderSlotsProtocol, ExcludesReadersFromTheNextWriterWhenOneLosesItsLock)
{
    expectSound(lostLock());
    expectSound(lostLock(2));
}

// They keep writers waiting, so there is no progress to ask for.
TEST(ReaderSlotsProtocol, SlotsThatOthersRaiseLetNobodyIn) { expectSound(foreignRaising(), false); }

// The next writer makes the count another odd number, which this one then leaves alone.
TEST(ReaderSlotsProtocol, AWriterMayUnlockBeforeItLowersTheBarrier)
{
    Configuration configuration = lostLock();
    configuration.variant = Variant::UnlocksBeforeLowering;
    expectSound(configuration);
}

// What follows shows for each piece of the protocol what it is for, and that the search would notice.

TEST(ReaderSlotsProtocol, AReaderMustRaiseItsSlotBeforeItAsksForWrites)
{
    expectBroken({}, Variant::AsksWritesBeforeRaising, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AWriterMustListTheFolderAfterTheCountIsOdd)
{
    Configuration configuration;
    configuration.newcomers = 1;
    expectBroken(configuration, Variant::ListsBeforeCountIsOdd, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AWriterMustNotPassOverLivingProcesses)
{
    expectBroken({}, Variant::PassesOverRaisedFiles, BOTH_INSIDE, false);
}

TEST(ReaderSlotsProtocol, AWriterMustRemoveTheFilesOfTheDead)
{
    expectBroken({}, Variant::PassesOverRaisedFiles, FILES_LEFT);
}

TEST(ReaderSlotsProtocol, AReaderMustGoByTheKernelLockWhenTheCountIsOdd)
{
    expectBroken({}, Variant::WaitsForEvenCount, READER_SHUT_OUT);
}

TEST(ReaderSlotsProtocol, AWriterMustNotWaitForTheDead)
{
    expectBroken({}, Variant::TakesRaisedForAlive, WRITER_SHUT_OUT);
}

TEST(ReaderSlotsProtocol, AFileMustBeLockedBeforeItHasAName)
{
    Configuration configuration;
    configuration.newcomers = 1;
    expectBroken(configuration, Variant::LinksBeforeLocking, FILE_REMOVED);
}

TEST(ReaderSlotsProtocol, AReaderMustAskForTheEpochAgain)
{
    expectBroken(renewal(2), Variant::KeepsFirstEpoch, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, MappingsMustNotBeRenewedWhileAThreadIsInside)
{
    expectBroken(renewal(2), Variant::RenewsWhileInside, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AWriterMustTakeTheKernelLock)
{
    expectBroken(twoThreads(), Variant::TakesNoKernelLock, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AWriterMustNotGoOnWithTheOddNumberOfAnother)
{
    expectBroken(lostLock(), Variant::KeepsOddCount, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AWriterMustNotMakeTheCountOfAnotherEven)
{
    expectBroken(lostLock(), Variant::LowersAnyCount, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AWriterMustConfirmItsLockBeforeItMayMakeTheCountEven)
{
    expectBroken(lostLock(), Variant::LowersUnconfirmed, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AHoldMustNotBeToldFromTheSharedSlot)
{
    expectBroken(foreignRaising(), Variant::TrustsSharedSlot, BOTH_INSIDE, false);
}

TEST(ReaderSlotsProtocol, ANewPageMustNotBeFoundBeforeTheWaitIsOver)
{
    expectBroken(removedPage(2), Variant::MakesPageBeforeWaiting, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AWriterWithoutAPageMustLookAtTheSlotsAllTheSame)
{
    Configuration configuration = removedPage(2);
    configuration.pageCannotBeMade = true;
    expectBroken(configuration, Variant::LooksAtNothingWithoutPage, BOTH_INSIDE, false);
}

TEST(ReaderSlotsProtocol, ANewPageMustNotReplaceAnother)
{
    expectBroken(lostLockAndRemovedPage(), Variant::ReplacesPage, BOTH_INSIDE, false);
}

TEST(ReaderSlotsProtocol, AReaderMustAskForFreshnessAfterItHasRaisedItsSlot)
{
    expectBroken(removedPageUnderThreads(), Variant::AsksFreshnessBeforeRaising, BOTH_INSIDE);
}

// A look that closes the door is fresh, too.
TEST(ReaderSlotsProtocol, AReaderMustAskForTheEpochAfterFreshness)
{
    expectBroken(removedPageUnderThreads(), Variant::AsksEpochBeforeFreshness, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, ALookMustBeAsOldAsItsBeginning)
{
    expectBroken(removedPageUnderThreads(), Variant::DatesLookByItsEnd, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AWriterWithoutTheLockMustNotReplaceAnOddCount)
{
    expectBroken({}, Variant::RaisesEarlyOverOdd, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AWriterThatHasWaitedMustAskIfTheBarrierIsStillInForce)
{
    expectBroken({}, Variant::TrustsRaisedBarrier, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AWriterMustWaitForReadersWhoseFilesWereRemoved)
{
    expectBroken(removedFile(1, 1), Variant::IgnoresMarks, BOTH_INSIDE);
}

} // namespace
} // namespace keepsafe_test::protocol
