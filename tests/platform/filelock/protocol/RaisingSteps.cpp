#include "WriterStep.h"

// How a writer raises the barrier.

namespace keepsafe_test::protocol {

void WriterStep::takeRaisingStep()
{
    switch (was().at) {
    case WriterAt::RaisesEarly:
        return raiseEarly();
    case WriterAt::ListsEarly:
        return listFolder(WriterAt::WaitsOutside);
    case WriterAt::AsksInForce:
        return askInForce();
    case WriterAt::FindsPage:
        return findPage();
    case WriterAt::MakesCountOdd:
        return makeOdd();
    case WriterAt::RemovesPage:
        return removePage();
    case WriterAt::WaitsForReaders:
        return waitForReaders();
    case WriterAt::MakesPage:
        return makePage();
    case WriterAt::FindsPageAgain:
        return findPageAgain();
    default: // ListsFolder
        return listFolder(is(Variant::ListsBeforeCountIsOdd) && was().page != NONE ? WriterAt::MakesCountOdd
                                                                                   : WriterAt::ConfirmsLock);
    }
}

void WriterStep::openPageEarly()
{
    if (state_.control != NONE) {
        me().page = state_.control;
        to(WriterAt::RaisesEarly, "raiseEarly: map");
    }
}

/// The count is read and then exchanged: as one step, because numbers do not come back.
void WriterStep::raiseEarly()
{
    Page& page = next_.pages[was().page];
    if (page.isDamaged != 0 || (page.isOdd != 0 && !is(Variant::RaisesEarlyOverOdd))) {
        me().page = NONE;
        return to(WriterAt::Outside, "raiseEarly: not now");
    }
    page.isOdd = 1;
    page.owner = self();
    me().isConfirmed = 1;
    to(WriterAt::ListsEarly, "raiseEarly: writes.compare_exchange_strong");
}

bool WriterStep::isInForce() const
{
    if (was().page == NONE) {
        return false;
    }
    const Page& page = state_.pages[was().page];
    const bool isOwn = page.owner == index_ || page.owner == EVERYBODY;
    return page.isOdd != 0 && isOwn && state_.control == was().page;
}

/// One step, since the data lock is held: nobody who has it lowers what another one raises.
void WriterStep::askInForce()
{
    const bool trusts = is(Variant::TrustsRaisedBarrier) && was().page != NONE;
    if (isInForce() || trusts) {
        return to(WriterAt::LooksAtFiles, "isInForce: yes");
    }
    to(WriterAt::ChecksLockFirst, "isInForce: no");
}

/// Where there is none, all looks at the paths that were begun before are old for this writer.
void WriterStep::findPage()
{
    if (state_.control != NONE) {
        me().page = state_.control;
        return to(is(Variant::ListsBeforeCountIsOdd) ? WriterAt::ListsFolder : WriterAt::MakesCountOdd,
                  "findPage: map");
    }
    for (Process& process : next_.processes) {
        if (process.isAlive != 0) {
            const auto bit = static_cast<std::uint8_t>(1U << index_);
            process.look.oldFor = static_cast<std::uint8_t>(process.look.oldFor | bit);
            process.current.oldFor = static_cast<std::uint8_t>(process.current.oldFor | bit);
        }
    }
    to(makesPageFirst() ? WriterAt::MakesPage : WriterAt::WaitsForReaders, "findPage: missing");
}

void WriterStep::makeOdd()
{
    Page& page = next_.pages[was().page];
    const bool keeps = is(Variant::KeepsOddCount) && page.isOdd != 0;
    page.isOdd = 1;
    page.owner = keeps ? EVERYBODY : self();
    if (page.isDamaged != 0) {
        page.owner = NONE;
        me().page = NONE;
        return to(WriterAt::RemovesPage, "usePage: makeOdd, unmap");
    }
    to(is(Variant::ListsBeforeCountIsOdd) ? WriterAt::ConfirmsLock : WriterAt::ListsFolder, "makeOdd");
}

/// By its name: it may be another one by now.
void WriterStep::removePage()
{
    next_.control = NONE;
    to(WriterAt::FindsPage, "usePage: unlinkat");
}

/// Readers rely on a look for less than the time of this wait, and ask for it after they have raised their
/// slots. So a reader that raises one from here on, and has checked before the wait, checks again before it
/// is inside.
void WriterStep::waitForReaders()
{
    const auto bit = static_cast<std::uint8_t>(1U << index_);
    const auto grow = [bit](Look& look) {
        if ((look.oldFor & bit) != 0) {
            look = {1, static_cast<std::uint8_t>(look.oldFor & ~bit)};
        }
    };
    for (Process& process : next_.processes) {
        grow(process.look);
        grow(process.current);
    }
    to(makesPageFirst() ? WriterAt::ListsFolder : WriterAt::MakesPage, "sleepFor(newPageWait)");
}

/// A page that stands there by now is not replaced.
void WriterStep::makePage()
{
    const bool isTaken = state_.control != NONE && !is(Variant::ReplacesPage);
    if (configuration_.pageCannotBeMade || isTaken || state_.pagesMade == MOST_PAGES) {
        return to(WriterAt::FindsPageAgain, "makePage: fails");
    }
    me().page = state_.pagesMade;
    next_.control = state_.pagesMade;
    next_.pages[state_.pagesMade] = {1, self(), 0};
    ++next_.pagesMade;
    to(makesPageFirst() ? WriterAt::WaitsForReaders : WriterAt::ListsFolder, "makePage: linkat");
}

void WriterStep::findPageAgain()
{
    if (state_.control == NONE) {
        return to(WriterAt::ListsFolder, "findPage: missing still");
    }
    me().page = state_.control;
    to(WriterAt::MakesCountOdd, "findPage: map");
}

void WriterStep::listFolder(WriterAt after)
{
    me().listed = 0;
    for (std::size_t i = 0; i < MOST_FILES; ++i) {
        if (state_.files[i].isLinked != 0) {
            me().listed = static_cast<std::uint8_t>(me().listed | (1U << i));
        }
    }
    to(after, "list: readers");
}

} // namespace keepsafe_test::protocol
