#include "Model.h"

#include <algorithm>

namespace keepsafe_test::protocol {

namespace {

/// One writer, and the state after its step.
class WriterStep {
public:
    WriterStep(const Configuration& configuration, const State& state, std::size_t writer, Steps& steps)
        : configuration_(configuration), state_(state), next_(state), index_(writer), steps_(steps)
    {
    }

    void take();

private:
    // A state is changed and handed on, then this object is at the start again.
    void to(WriterAt at, const char* what)
    {
        me().at = at;
        steps_.step({Actor::Kind::Writer, index_}, what, next_);
        next_ = state_;
    }

    void lockData();
    void openPage();
    void makePage();
    void makeOdd();
    void confirmLock();
    void waitForReaders();
    void listFolder();
    void lookAtFiles();
    void lookAtFile(std::uint8_t file);
    void askIfAlive();
    void remove();
    void readSlot();
    void lower();
    void unlock();

    void pass(WriterAt at, const char* what);
    [[nodiscard]] WriterAt afterChange() const
    {
        return is(Variant::UnlocksBeforeLowering) ? WriterAt::Unlocks : WriterAt::Lowers;
    }
    [[nodiscard]] bool is(Variant variant) const { return configuration_.variant == variant; }
    [[nodiscard]] bool makesPageFirst() const { return is(Variant::MakesPageBeforeWaiting); }
    [[nodiscard]] bool holdsLock() const
    {
        return was().hasKernelLock != 0 || is(Variant::TakesNoKernelLock);
    }

    [[nodiscard]] const Writer& was() const { return state_.writers[index_]; }
    Writer& me() { return next_.writers[index_]; }

    const Configuration& configuration_;
    const State& state_;
    State next_;
    const std::size_t index_;
    Steps& steps_;
};

void WriterStep::take()
{
    switch (was().at) {
    case WriterAt::Outside:
        return lockData();
    case WriterAt::OpensPage:
        return openPage();
    case WriterAt::MakesPage:
        return makePage();
    case WriterAt::MakesCountOdd:
        return makeOdd();
    case WriterAt::ConfirmsLock:
        return confirmLock();
    case WriterAt::WaitsForReaders:
        return waitForReaders();
    case WriterAt::ListsFolder:
        return listFolder();
    case WriterAt::LooksAtFiles:
        return lookAtFiles();
    case WriterAt::AsksIfAlive:
        return askIfAlive();
    case WriterAt::Removes:
        return remove();
    case WriterAt::ReadsSlots:
        return readSlot();
    case WriterAt::ChecksLockFile:
        return to(holdsLock() ? WriterAt::BeginsChange : afterChange(), "tryOnce: isIntact, isCurrent");
    case WriterAt::BeginsChange:
        return to(WriterAt::EndsChange, "first change");
    case WriterAt::EndsChange:
        return to(afterChange(), "last change");
    case WriterAt::Lowers:
        return lower();
    case WriterAt::Unlocks:
        return unlock();
    case WriterAt::Dead:
        return;
    }
}

void WriterStep::lockData()
{
    if (is(Variant::TakesNoKernelLock)) {
        return to(WriterAt::OpensPage, "takes no kernel lock");
    }
    if (!anyKernelWriter(state_) && !anyKernelReader(state_)) {
        me().hasKernelLock = 1;
        to(WriterAt::OpensPage, "tryData: tryLockData");
    }
}

void WriterStep::openPage()
{
    if (state_.control == NONE) {
        return to(makesPageFirst() ? WriterAt::MakesPage : WriterAt::WaitsForReaders,
                  "findOrMakePage: no page");
    }
    me().page = state_.control;
    to(is(Variant::ListsBeforeCountIsOdd) ? WriterAt::ListsFolder : WriterAt::MakesCountOdd,
       "findOrMakePage: map");
}

void WriterStep::makePage()
{
    const WriterAt after = makesPageFirst() ? WriterAt::WaitsForReaders : WriterAt::ConfirmsLock;
    if (configuration_.pageCannotBeMade) {
        return to(after, "makePage: fails");
    }
    me().page = state_.pagesMade;
    next_.control = state_.pagesMade;
    next_.pages[state_.pagesMade] = {1, static_cast<std::uint8_t>(index_)};
    ++next_.pagesMade;
    to(after, "makePage: renameat");
}

void WriterStep::makeOdd()
{
    Page& page = next_.pages[was().page];
    const bool keeps = is(Variant::KeepsOddCount) && page.isOdd != 0;
    page = {1, keeps ? EVERYBODY : static_cast<std::uint8_t>(index_)};
    const bool hasListed = is(Variant::ListsBeforeCountIsOdd);
    const WriterAt after = is(Variant::LowersUnconfirmed) ? WriterAt::ListsFolder : WriterAt::ConfirmsLock;
    to(hasListed ? WriterAt::LooksAtFiles : after, "makeOdd");
}

/// From here on whoever else takes the kernel lock makes the count another odd number later than this writer
/// did. A writer that has lost its lock before cannot know that, and leaves the count odd.
void WriterStep::confirmLock()
{
    const bool looks = was().page != NONE || !is(Variant::LooksAtNothingWithoutPage);
    if (holdsLock()) {
        return to(looks ? WriterAt::ListsFolder : WriterAt::ChecksLockFile, "the lock is still held");
    }
    me().page = NONE;
    to(WriterAt::Unlocks, "the lock is lost");
}

/// ASSUMPTION: a process that enters, or renews its mappings, is not stopped in the middle of it for longer
/// than the wait, less the time after which readers look at the path. So whoever has not entered when the
/// wait is over looks at the path before it does.
void WriterStep::waitForReaders()
{
    const auto isOnItsWay = [](const Thread& thread) {
        return thread.at != ReaderAt::Outside && !isInside(thread);
    };
    for (Process& process : next_.processes) {
        if (!is(Variant::MayStall) &&
            std::any_of(process.threads.begin(), process.threads.end(), isOnItsWay)) {
            next_ = state_;
            return;
        }
        process.lookIsDue = process.isAlive;
    }
    to(makesPageFirst() ? WriterAt::ConfirmsLock : WriterAt::MakesPage, "sleepFor(newPageWait)");
}

void WriterStep::listFolder()
{
    for (std::size_t i = 0; i < MOST_FILES; ++i) {
        if (state_.files[i].isLinked != 0) {
            me().listed = static_cast<std::uint8_t>(me().listed | (1U << i));
        }
    }
    to(is(Variant::ListsBeforeCountIsOdd) ? WriterAt::MakesCountOdd : WriterAt::LooksAtFiles,
       "raise: readers");
}

void WriterStep::lookAtFiles()
{
    if (was().listed == 0) {
        return to(WriterAt::ChecksLockFile, "isClear: yes");
    }
    for (std::uint8_t i = 0; i < MOST_FILES; ++i) {
        if ((was().listed & (1U << i)) != 0) {
            lookAtFile(i);
        }
    }
    // Out of time, or to let readers through.
    me().listed = 0;
    to(WriterAt::Lowers, "gives up");
}

void WriterStep::lookAtFile(std::uint8_t file)
{
    me().file = file;
    if (state_.files[file].isLinked == 0) {
        return pass(WriterAt::LooksAtFiles, "isOut: no such file");
    }
    to(WriterAt::AsksIfAlive, "isOut: openFile");
}

/// The file is out of the list.
void WriterStep::pass(WriterAt at, const char* what)
{
    me().listed = static_cast<std::uint8_t>(me().listed & ~(1U << me().file));
    me().file = NONE;
    me().slot = 0;
    to(at, what);
}

void WriterStep::askIfAlive()
{
    const File& file = state_.files[was().file];
    const bool anyRaised =
        std::any_of(file.raised.begin(), file.raised.end(), [](std::uint8_t slot) { return slot != 0; });
    if (is(Variant::PassesOverRaisedFiles) && anyRaised) {
        return pass(WriterAt::LooksAtFiles, "passes over a file with raised slots");
    }
    const bool isAlive = file.isLocked != 0 || (is(Variant::TakesRaisedForAlive) && anyRaised);
    to(isAlive ? WriterAt::ReadsSlots : WriterAt::Removes, isAlive ? "isAlive: yes" : "isAlive: no");
}

void WriterStep::remove()
{
    next_.files[was().file].isLinked = 0;
    if (state_.files[was().file].isLocked == 0) {
        next_.files[was().file] = {};
    }
    pass(WriterAt::LooksAtFiles, "isOut: unlinkat");
}

void WriterStep::readSlot()
{
    if (state_.files[was().file].raised[was().slot] != 0) {
        me().file = NONE;
        me().slot = 0;
        return to(WriterAt::LooksAtFiles, "allLowered: no");
    }
    const std::size_t process = was().file / FILES_PER_PROCESS;
    if (was().slot + 1U < threadsOf(configuration_, process)) {
        ++me().slot;
        return to(WriterAt::ReadsSlots, "allLowered: reads the next slot");
    }
    pass(WriterAt::LooksAtFiles, "allLowered: yes");
}

void WriterStep::lower()
{
    if (was().page != NONE) {
        Page& page = next_.pages[was().page];
        if (page.owner == index_ || page.owner == EVERYBODY || is(Variant::LowersAnyCount)) {
            page = {0, NONE};
        }
        me().page = NONE;
    }
    to(is(Variant::UnlocksBeforeLowering) ? WriterAt::Outside : WriterAt::Unlocks, "lower");
}

void WriterStep::unlock()
{
    me().hasKernelLock = 0;
    to(is(Variant::UnlocksBeforeLowering) ? WriterAt::Lowers : WriterAt::Outside, "unlockAll");
}

} // namespace

void takeWriterSteps(const Configuration& configuration, const State& state, std::size_t writer, Steps& steps)
{
    WriterStep(configuration, state, writer, steps).take();
}

} // namespace keepsafe_test::protocol
