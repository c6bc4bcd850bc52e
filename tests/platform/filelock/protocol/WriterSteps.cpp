#include "WriterStep.h"

// The way to the lock and back.

namespace keepsafe_test::protocol {

void WriterStep::take()
{
    switch (was().at) {
    case WriterAt::Outside:
        return takeFromOutside();
    case WriterAt::WaitsOutside:
        return waitOutside();
    case WriterAt::ChecksLockFirst:
        return checkLock(was().page == NONE ? WriterAt::FindsPage : WriterAt::LowersFirst,
                         "raiseBarrier: hasCurrentFile");
    case WriterAt::LowersFirst:
        return lower(WriterAt::FindsPage, "raise: lower");
    case WriterAt::ConfirmsLock:
        return confirmLock();
    case WriterAt::ChecksLockLast:
        return checkLock(WriterAt::BeginsChange, "tryOnce: hasCurrentFile");
    case WriterAt::BeginsChange:
        return to(WriterAt::EndsChange, "first change");
    case WriterAt::EndsChange:
        return to(afterChange(), "last change");
    case WriterAt::Lowers:
        return lower(was().hasLockedData != 0 ? WriterAt::Unlocks : WriterAt::Outside, "lower");
    case WriterAt::Unlocks:
        return unlock();
    case WriterAt::Dead:
        return;
    default:
        return was().at < WriterAt::LooksAtFiles ? takeRaisingStep() : takeClearingStep();
    }
}

/// The gate is left out: whether a writer has it makes no difference to what it may do.
void WriterStep::takeFromOutside()
{
    if (configuration_.writersRaiseEarly) {
        openPageEarly();
    }
    lockData();
}

/// Files are looked at only as long as the barrier is in force; to look at others would tell nothing.
void WriterStep::waitOutside()
{
    if (isInForce()) {
        for (std::uint8_t i = 0; i < MOST_FILES; ++i) {
            if ((was().listed & (1U << i)) != 0) {
                lookAtFile(i);
            }
        }
    }
    lockData();
    to(WriterAt::Lowers, "letReadersThroughWhenDue");
}

/// A writer whose open file is no longer the one at the path locks that file, and nobody notices.
void WriterStep::lockData()
{
    me().hasLockedData = 1;
    if (was().lockIsLost != 0) {
        return to(WriterAt::AsksInForce, "tryLockData, on another file");
    }
    if (is(Variant::TakesNoKernelLock)) {
        return to(WriterAt::AsksInForce, "takes no kernel lock");
    }
    if (!anyKernelWriter(state_) && !anyKernelReader(state_)) {
        me().hasKernelLock = 1;
        to(WriterAt::AsksInForce, "tryLockData");
    }
    next_ = state_;
}

void WriterStep::unlockData()
{
    me().hasLockedData = 0;
    me().hasKernelLock = 0;
    to(WriterAt::WaitsOutside, "tryBarrier: unlockData");
}

void WriterStep::checkLock(WriterAt whenHeld, const char* what)
{
    to(was().lockIsLost == 0 ? whenHeld : afterChange(), what);
}

/// From here on any other process that takes the kernel lock makes the count another odd number later than
/// this writer did. A writer that has lost its lock before cannot know that, and leaves the count odd.
void WriterStep::confirmLock()
{
    const bool looks = was().page != NONE || !is(Variant::LooksAtNothingWithoutPage);
    if (was().lockIsLost == 0) {
        me().isConfirmed = 1;
    }
    checkLock(looks ? WriterAt::LooksAtFiles : WriterAt::ChecksLockLast, "raiseBarrier: confirm");
}

void WriterStep::lower(WriterAt after, const char* what)
{
    if (was().page != NONE) {
        Page& page = next_.pages[was().page];
        const bool isOwn = page.owner == index_ || page.owner == EVERYBODY;
        const bool mayLower = was().isConfirmed != 0 || is(Variant::LowersUnconfirmed);
        if ((isOwn && mayLower) || is(Variant::LowersAnyCount)) {
            page.isOdd = 0;
            page.owner = NONE;
        } else if (page.owner == index_) {
            page.owner = NONE; // it stays odd, and nobody knows the number any more
        }
    }
    me().page = NONE;
    me().isConfirmed = 0;
    me().listed = 0;
    const bool hasUnlocked = is(Variant::UnlocksBeforeLowering) && after == WriterAt::Unlocks;
    to(hasUnlocked ? WriterAt::Outside : after, what);
}

/// Closes the file; the next one is that at the path.
void WriterStep::unlock()
{
    me().hasLockedData = 0;
    me().hasKernelLock = 0;
    me().lockIsLost = 0;
    to(is(Variant::UnlocksBeforeLowering) ? WriterAt::Lowers : WriterAt::Outside, "unlockAll");
}

void takeWriterSteps(const Configuration& configuration, const State& state, std::size_t writer, Steps& steps)
{
    WriterStep(configuration, state, writer, steps).take();
}

} // namespace keepsafe_test::protocol
