#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_PROTOCOL_RULES_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_PROTOCOL_RULES_H

#include "Explorer.h"
#include "Model.h"

/// \file
/// What must be true in every state. Each rule answers null, or says how the state breaks it.

namespace keepsafe_test::protocol {

bool isWriting(const Writer& writer);
bool anySlotReader(const State& state);

/// Nobody reads while a writer with the lock is inside; no file of a living, registered process is removed.
const char* brokenSafety(const Configuration& configuration, const State& state);

/// Searches for a way on with the steps of one actor alone. Keeps its memory from one question to the next.
class Progress {
public:
    explicit Progress(const Configuration& configuration) : configuration_(configuration) {}

    /// - When no writer lives, each reader gets in by itself.
    /// - When nobody holds the lock and all living readers rest, each living writer gets in by itself.
    /// - By then it has removed the files of all processes that had died.
    const char* broken(const State& state);

private:
    const char* brokenForReaders(const State& state);
    const char* brokenForWriters(const State& state);
    template <typename IsGoal>
    bool reaches(const State& from, const Actor& who, IsGoal isGoal);

    const Configuration& configuration_;
    StateSet seen_;
};

} // namespace keepsafe_test::protocol

#endif
