#ifndef KEEPSAFE_BENCH_PEERS_CONTENDER_H
#define KEEPSAFE_BENCH_PEERS_CONTENDER_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "questions/Questions.h"

namespace keepsafe_bench {

/// A range of questions.
struct QuestionRange {
    const PeerQuestion* first;
    std::size_t count;

    [[nodiscard]] const PeerQuestion* begin() const noexcept { return first; }
    [[nodiscard]] const PeerQuestion* end() const noexcept { return first + count; }
};

inline QuestionRange allOf(const Questions& questions) { return {questions.all().data(), questions.size()}; }

/// One way of answering the questions. One thread at a time.
class Contender {
public:
    Contender() = default;
    virtual ~Contender() = default;
    Contender(const Contender&) = delete;
    Contender& operator=(const Contender&) = delete;

    /// Writes 1 for "allowed" or 0 for each question. One call for many of them, so that the cost of a
    /// virtual call does not matter.
    virtual void answer(QuestionRange questions, char* answers) = 0;
};

/// A contender and its name. `open` opens it in the calling process: it may be called again after a fork,
/// which not every store survives.
struct ContenderKind {
    std::string name;
    std::function<std::unique_ptr<Contender>()> open;
};

} // namespace keepsafe_bench

#endif
