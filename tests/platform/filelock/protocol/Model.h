#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_PROTOCOL_MODEL_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_PROTOCOL_MODEL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

/// \file
/// The protocol of src/platform/filelock between readers with slots, readers without and writers, as a state
/// machine for an exhaustive search: what each actor keeps to itself, what they share, and how far each of
/// them has come. One step here is one atomic operation or one system call there; the steps carry the names
/// of the functions that they stand for.
///
/// Steps are sequentially consistent. That is what the code asks for wherever the order matters: each raising
/// of a slot and each change of `writes` is a locked instruction.
///
/// Nothing is assumed about how long a step takes, and anybody may be stopped anywhere. Of all the times in
/// the code two remain, each as one rule: a look at the paths that was begun before a writer's wait for
/// readers is no longer fresh when the wait is over (`WriterStep::waitForReaders`), and a slot whose file
/// somebody has removed is not raised for longer than such a wait (`WriterStep::askForMarks`).
///
/// What is left out, because exclusion does not depend on it: the gate, all other waiting, and what a damaged
/// file contains. A reading of the folder is one step: what counts for each name is when it was passed, and
/// no reader's file depends on another one's.

namespace keepsafe_test::protocol {

constexpr std::size_t MOST_PROCESSES = 3;
constexpr std::size_t MOST_THREADS = 2;
constexpr std::size_t MOST_WRITERS = 2;
constexpr std::size_t FILES_PER_PROCESS = 2; ///< as often as that a process registers
constexpr std::size_t MOST_FILES = MOST_PROCESSES * FILES_PER_PROCESS;
constexpr std::size_t MOST_PAGES = 3; ///< the control page, and those that are made after its removal
constexpr std::uint8_t NONE = 0xFF;

/// Ways in which the protocol could have been made wrong, for which the search must find what comes of it.
enum class Variant : std::uint8_t {
    None,
    AsksWritesBeforeRaising,
    AsksEpochBeforeFreshness,
    AsksFreshnessBeforeRaising,
    DatesLookByItsEnd,
    ListsBeforeCountIsOdd,
    PassesOverRaisedFiles,
    TakesRaisedForAlive,
    LinksBeforeLocking,
    KeepsFirstEpoch,
    RenewsWhileInside,
    KeepsOddCount,
    LowersAnyCount,
    LowersUnconfirmed,
    UnlocksBeforeLowering,
    TakesNoKernelLock,
    TrustsSharedSlot,
    WaitsForEvenCount,
    RaisesEarlyOverOdd,
    TrustsRaisedBarrier,
    MakesPageBeforeWaiting,
    ReplacesPage,
    LooksAtNothingWithoutPage,
    IgnoresMarks,
};

/// Who takes part, and what may happen to them.
struct Configuration {
    std::size_t processes = 2; ///< with slots
    std::size_t threads = 1;   ///< of process 0; the others have one
    std::size_t newcomers = 0; ///< how many of the processes, the last ones, have not registered yet
    std::size_t writers = 2;
    bool readerWithoutSlots = false;
    std::size_t registrations = 1;   ///< of each process; a newcomer's first one included
    bool lockFileIsReplaced = false; ///< so that a process registers again, as often as it may
    bool deaths = true;
    bool writersRaiseEarly = true;
    bool pageIsRemoved = false; ///< once, by hand
    bool pageIsDamaged = false; ///< the first one, once
    bool pageCannotBeMade = false;
    bool fileIsRemoved = false; ///< that of one process, once, by hand
    /// One writer's, once: somebody replaces the lock file or closes the descriptor.
    bool lockIsLost = false;
    bool slotsAreWritten = false; ///< other processes raise slots that are not theirs
    Variant variant = Variant::None;
};

/// How far a reading thread has come: what it does next.
enum class ReaderAt : std::uint8_t {
    Outside,
    // ReaderSlots::lookAtFiles, under the fork mutex
    ExaminesFiles,
    ClosesDoor,
    AsksAnyInside,
    Discards,
    MapsControl,
    LocksFile,
    MarksPage,
    MapsFile,
    GivesName,
    OpensDoor,
    EndsLook,
    // ReaderSlots::tryEnter
    RaisesOwnWord,
    RaisesSlot,
    ReadsWrites,
    AsksFreshness,
    ReadsEpoch,
    InsideBySlot,
    LowersSlot,
    LowersOwnWord,
    // FileLock::State::takeKernelLock
    InsideByKernelLock,
};

/// How far a writer has come: what it does next.
enum class WriterAt : std::uint8_t {
    Outside, ///< without a barrier
    // SlotBarrier::raiseEarly
    RaisesEarly,
    ListsEarly,
    WaitsOutside, ///< with the barrier raised, and without the data lock
    // WriterAttempt::tryBarrier and raiseBarrier, SlotBarrier::raise
    AsksInForce,
    ChecksLockFirst,
    LowersFirst,
    FindsPage,
    MakesCountOdd,
    RemovesPage,
    WaitsForReaders,
    MakesPage,
    FindsPageAgain,
    ListsFolder,
    ConfirmsLock,
    // SlotBarrier::isClear
    LooksAtFiles,
    AsksIfAlive,
    Removes,
    ReadsSlots,
    AsksForMarks,
    // With the lock
    ChecksLockLast,
    BeginsChange,
    EndsChange,
    Lowers,
    Unlocks,
    Dead,
};

struct Thread {
    ReaderAt at;
    std::uint8_t epochIsSame; ///< as when it began to enter
    std::uint8_t sawEven;
    std::uint8_t sawFresh;
    std::uint8_t ownRaised; ///< its word in private memory
};

/// How old a look at the paths is: stale, or at least begun before the waits of these writers began.
struct Look {
    std::uint8_t isStale;
    std::uint8_t oldFor; ///< a bit for each writer
};

struct Process {
    std::uint8_t isAlive;
    std::uint8_t epochIsEven;
    Look look;         ///< the last one that has ended
    Look current;      ///< the one that goes on
    std::uint8_t page; ///< mapped
    std::uint8_t mark; ///< on that page: one more than the file for which it stands; 0: none
    std::uint8_t file; ///< mapped, counted from its first one
    std::uint8_t filesMade;
    std::array<Thread, MOST_THREADS> threads;
};

struct File {
    std::uint8_t isLinked;
    std::uint8_t isLocked;
    std::array<std::uint8_t, MOST_THREADS> raised;
};

struct Writer {
    WriterAt at;
    std::uint8_t hasKernelLock; ///< on the file at the path
    std::uint8_t hasLockedData; ///< as far as it knows
    std::uint8_t lockIsLost;    ///< its open file is not the one at the path, or none any more
    std::uint8_t isConfirmed;
    std::uint8_t page;   ///< mapped
    std::uint8_t listed; ///< a bit for each file that is still to be seen lowered
    std::uint8_t file;   ///< at which it looks
    std::uint8_t slot;   ///< of that file
};

/// `owner` is the writer whose odd number the count still is: what matters about the number is that no two
/// writers make the same one. Where they do, the owner is `EVERYBODY`.
constexpr std::uint8_t EVERYBODY = 0xFE;
struct Page {
    std::uint8_t isOdd;
    std::uint8_t owner;
    std::uint8_t isDamaged;
};

struct State {
    std::array<Process, MOST_PROCESSES> processes;
    std::array<File, MOST_FILES> files;
    std::array<Writer, MOST_WRITERS> writers;
    std::array<Page, MOST_PAGES> pages;
    std::uint8_t control; ///< the page at the path
    std::uint8_t pagesMade;
    std::uint8_t kernelReaderIsInside;
    std::uint8_t kernelReaderIsDead;
    std::uint8_t lockMayBeLost;
    std::uint8_t pageMayBeRemoved;
    std::uint8_t pageMayBeDamaged;
    std::uint8_t fileMayBeRemoved;
};
static_assert(sizeof(State) == 3 * 20 + 6 * 4 + 2 * 9 + 3 * 3 + 8, "states are compared byte for byte");

/// Who moves.
struct Actor {
    enum class Kind : std::uint8_t { Process, KernelReader, Writer, World };
    Kind kind;
    std::size_t index = 0;

    friend bool operator==(const Actor& a, const Actor& b) noexcept
    {
        return a.kind == b.kind && a.index == b.index;
    }
};

std::string toText(const Actor& actor);

/// Where steps go: `step` is called with each state that follows.
class Steps {
public:
    virtual ~Steps() = default;
    virtual void step(const Actor& who, const char* what, const State& next) = 0;
};

State initialState(const Configuration& configuration);

/// All steps that are possible in that state. Deaths, losses and removals are steps of `World`.
void takeSteps(const Configuration& configuration, const State& state, Steps& steps);
/// Those of one process and its threads, of one writer, and of what happens to them all.
void takeReaderSteps(const Configuration& configuration, const State& state, std::size_t process,
                     Steps& steps);
void takeWriterSteps(const Configuration& configuration, const State& state, std::size_t writer,
                     Steps& steps);
void takeKernelReaderSteps(const State& state, Steps& steps);
void takeWorldSteps(const Configuration& configuration, const State& state, Steps& steps);

/// Questions about a state.
constexpr std::size_t fileOf(std::size_t process, std::size_t file)
{
    return process * FILES_PER_PROCESS + file;
}
std::size_t threadsOf(const Configuration& configuration, std::size_t process);
bool isInside(const Thread& thread);
/// Whether readers must notice that a page is another one, and how old a look is makes a difference.
bool looksGrowOld(const Configuration& configuration);
bool anyKernelReader(const State& state);
/// Whether a writer holds the kernel lock, as the others see it.
bool anyKernelWriter(const State& state);

} // namespace keepsafe_test::protocol

#endif
