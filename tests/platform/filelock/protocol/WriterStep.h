#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_PROTOCOL_WRITERSTEP_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_PROTOCOL_WRITERSTEP_H

#include "Model.h"

namespace keepsafe_test::protocol {

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

    // The way to the lock and back.
    void takeFromOutside();
    void waitOutside();
    void lockData();
    void unlockData();
    void checkLock(WriterAt whenHeld, const char* what);
    void confirmLock();
    void lower(WriterAt after, const char* what);
    void unlock();

    // How the barrier is raised.
    void takeRaisingStep();
    void openPageEarly();
    void raiseEarly();
    void askInForce();
    void findPage();
    void makeOdd();
    void removePage();
    void waitForReaders();
    void makePage();
    void findPageAgain();
    void listFolder(WriterAt after);

    // How it becomes clear.
    void takeClearingStep();
    void lookAtFiles();
    void lookAtFile(std::uint8_t file);
    void askIfAlive();
    void remove();
    void readSlot();
    void pass(const char* what);
    void askForMarks();

    [[nodiscard]] bool isInForce() const;
    /// Where a writer goes on that has looked at a file.
    [[nodiscard]] WriterAt afterFile() const
    {
        return was().hasLockedData != 0 ? WriterAt::LooksAtFiles : WriterAt::WaitsOutside;
    }
    [[nodiscard]] WriterAt afterChange() const
    {
        return is(Variant::UnlocksBeforeLowering) ? WriterAt::Unlocks : WriterAt::Lowers;
    }
    [[nodiscard]] bool is(Variant variant) const { return configuration_.variant == variant; }
    [[nodiscard]] bool makesPageFirst() const { return is(Variant::MakesPageBeforeWaiting); }

    [[nodiscard]] const Writer& was() const { return state_.writers[index_]; }
    Writer& me() { return next_.writers[index_]; }
    [[nodiscard]] std::uint8_t self() const { return static_cast<std::uint8_t>(index_); }

    const Configuration& configuration_;
    const State& state_;
    State next_;
    const std::size_t index_;
    Steps& steps_;
};

} // namespace keepsafe_test::protocol

#endif
