// The protocol between readers with slots and writers, in every order in which its steps can happen.

#include <chrono>
#include <cstddef>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "Explorer.h"

namespace {

using keepsafe_test::protocol::Configuration;
using keepsafe_test::protocol::Exploration;
using keepsafe_test::protocol::explore;
using keepsafe_test::protocol::Variant;

// With sanitizers or counters a search takes several times as long and as much memory, and what they look for
// does not depend on the number of actors.
#ifdef PROTOCOL_FEWER_ACTORS
constexpr std::size_t PROCESSES = 2;
#else
constexpr std::size_t PROCESSES = 3;
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

Configuration twoThreads()
{
    Configuration configuration;
    configuration.threads = 2;
    configuration.readerWithoutSlots = true;
    return configuration;
}

Configuration newcomer()
{
    Configuration configuration;
    configuration.processes = PROCESSES;
    configuration.newcomers = 1;
    configuration.readerWithoutSlots = true;
    return configuration;
}

Configuration renewal(std::size_t threads)
{
    Configuration configuration;
    configuration.processes = threads == 1 ? 2 : 1;
    configuration.newcomers = threads == 1 ? 1 : 0;
    configuration.threads = threads;
    configuration.registrations = 2;
    configuration.lockFileIsReplaced = true;
    return configuration;
}

Configuration removedPage()
{
    Configuration configuration;
    configuration.newcomers = 1;
    configuration.registrations = 2;
    configuration.pageIsRemoved = true;
    return configuration;
}

Configuration lostLock()
{
    Configuration configuration;
    configuration.lockIsLost = true;
    return configuration;
}

Configuration foreignRaising()
{
    Configuration configuration;
    configuration.slotsAreWritten = true;
    return configuration;
}

TEST(ReaderSlotsProtocol, ExcludesWithTwoThreadsOfOneProcess) { expectSound(twoThreads()); }

TEST(ReaderSlotsProtocol, ExcludesWithANewcomer) { expectSound(newcomer()); }

TEST(ReaderSlotsProtocol, ExcludesWhileAProcessRenewsItsFile) { expectSound(renewal(1)); }

TEST(ReaderSlotsProtocol, ExcludesWhileAProcessRenewsItsFileUnderItsThreads) { expectSound(renewal(2)); }

TEST(ReaderSlotsProtocol, ExcludesAfterTheControlPageWasRemoved) { expectSound(removedPage()); }

TEST(ReaderSlotsProtocol, ExcludesWhenARemovedControlPageCannotBeMadeAgain)
{
    Configuration configuration = removedPage();
    configuration.pageCannotBeMade = true;
    expectSound(configuration);
}

TEST(ReaderSlotsProtocol, ExcludesReadersFromTheNextWriterWhenOneLosesItsLock) { expectSound(lostLock()); }

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
    expectBroken(removedPage(), Variant::MakesPageBeforeWaiting, BOTH_INSIDE);
}

TEST(ReaderSlotsProtocol, AWriterWithoutAPageMustLookAtTheSlotsAllTheSame)
{
    Configuration configuration = removedPage();
    configuration.pageCannotBeMade = true;
    expectBroken(configuration, Variant::LooksAtNothingWithoutPage, BOTH_INSIDE, false);
}

// A limit of the lock, not a rule that it keeps: see the assumption at `WriterStep::waitForReaders`.
TEST(ReaderSlotsProtocol, TheWaitForReadersOfARemovedPageAssumesThatTheyAreNotStopped)
{
    expectBroken(removedPage(), Variant::MayStall, BOTH_INSIDE);
}

} // namespace
