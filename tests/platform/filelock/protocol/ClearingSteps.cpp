#include <algorithm>

#include "WriterStep.h"

// How a writer sees that all readers have left that were inside when it raised the barrier.

namespace keepsafe_test::protocol {

void WriterStep::takeClearingStep()
{
    switch (was().at) {
    case WriterAt::LooksAtFiles:
        return lookAtFiles();
    case WriterAt::AsksIfAlive:
        return askIfAlive();
    case WriterAt::Removes:
        return remove();
    case WriterAt::ReadsSlots:
        return readSlot();
    default:
        return askForMarks();
    }
}

/// With the data lock. It may be given back before all files have been looked at: that is no less than what
/// the code does.
void WriterStep::lookAtFiles()
{
    if (was().listed == 0) {
        return to(configuration_.fileIsRemoved ? WriterAt::AsksForMarks : WriterAt::ChecksLockLast,
                  "isClear: no files are left");
    }
    for (std::uint8_t i = 0; i < MOST_FILES; ++i) {
        if ((was().listed & (1U << i)) != 0) {
            lookAtFile(i);
        }
    }
    unlockData();
}

void WriterStep::lookAtFile(std::uint8_t file)
{
    me().file = file;
    if (state_.files[file].isLinked != 0) {
        return to(WriterAt::AsksIfAlive, "isOut: openFile");
    }
    me().listed = static_cast<std::uint8_t>(me().listed & ~(1U << file));
    me().file = NONE;
    to(afterFile(), "isOut: no such file");
}

/// The file is out of the list.
void WriterStep::pass(const char* what)
{
    me().listed = static_cast<std::uint8_t>(me().listed & ~(1U << was().file));
    me().file = NONE;
    me().slot = 0;
    to(afterFile(), what);
}

void WriterStep::askIfAlive()
{
    const File& file = state_.files[was().file];
    const bool anyRaised =
        std::any_of(file.raised.begin(), file.raised.end(), [](std::uint8_t slot) { return slot != 0; });
    if (is(Variant::PassesOverRaisedFiles) && anyRaised) {
        return pass("passes over a file with raised slots");
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
    pass("isOut: unlinkat");
}

void WriterStep::readSlot()
{
    if (state_.files[was().file].raised[was().slot] != 0) {
        me().file = NONE;
        me().slot = 0;
        return to(afterFile(), "allLowered: no");
    }
    const std::size_t process = was().file / FILES_PER_PROCESS;
    if (was().slot + 1U < threadsOf(configuration_, process)) {
        ++me().slot;
        return to(WriterAt::ReadsSlots, "allLowered: reads the next slot");
    }
    pass("allLowered: yes");
}

/// ASSUMPTION: a slot in a file that somebody has removed is not raised for longer than the wait. A writer
/// that finds a mark without a file waits for so long; here it sees such slots.
void WriterStep::askForMarks()
{
    for (std::size_t i = 0; i < configuration_.processes && !is(Variant::IgnoresMarks); ++i) {
        const Process& process = state_.processes[i];
        if (process.isAlive == 0 || process.mark == 0 || process.page != state_.control) {
            continue;
        }
        const File& file = state_.files[fileOf(i, process.mark - 1U)];
        if (file.isLinked == 0 && std::any_of(file.raised.begin(), file.raised.end(),
                                              [](std::uint8_t slot) { return slot != 0; })) {
            return unlockData();
        }
    }
    to(WriterAt::ChecksLockLast, "isClear: no mark without a file");
}

} // namespace keepsafe_test::protocol
