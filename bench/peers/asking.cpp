#include "peers/asking.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "Turns.h"

namespace keepsafe_bench {

Answers answersOf(Contender& contender, const Questions& questions)
{
    Answers answers(questions.size());
    contender.answer(allOf(questions), answers.data());
    return answers;
}

void requireSame(const Questions& questions, const std::string& name, const Answers& expected,
                 const std::string& otherName, const Answers& answers)
{
    const auto differs = std::mismatch(expected.begin(), expected.end(), answers.begin(), answers.end());
    if (differs.first != expected.end()) {
        const auto number = static_cast<std::size_t>(differs.first - expected.begin());
        const auto text = [](char answer) { return answer != 0 ? "allowed" : "denied"; };
        throw std::runtime_error("question " + std::to_string(number) + ", about " +
                                 questions.all()[number].object.str() + ": " + name + " says " +
                                 text(*differs.first) + ", " + otherName + " says " + text(*differs.second));
    }
}

double requireBoth(const Answers& answers)
{
    const auto allowed = std::count(answers.begin(), answers.end(), 1);
    const double share = static_cast<double>(allowed) / static_cast<double>(answers.size());
    if (share < 0.2 || share > 0.8) {
        throw std::runtime_error("of " + std::to_string(answers.size()) + " questions " +
                                 std::to_string(allowed) + " are allowed: they do not tell contenders apart");
    }
    return share;
}

std::function<double()> timed(Contender& contender, const Questions& questions)
{
    return [&contender, &questions, answers = Answers(questions.size())]() mutable {
        return nanosecondsOf([&] { contender.answer(allOf(questions), answers.data()); }) /
               static_cast<double>(questions.size());
    };
}

Crew::Work asking(const ContenderKind& kind, const Questions& questions, const Answers& expected,
                  unsigned workers)
{
    return [&questions, &expected, workers, kind](unsigned worker) {
        const auto contender = kind.open();
        thread_local Answers answers;
        answers.resize(questions.size());
        const QuestionRange all = allOf(questions);
        const std::size_t first = all.count * worker / workers;
        contender->answer({all.first + first, all.count - first}, answers.data() + first);
        contender->answer({all.first, first}, answers.data());
        requireSame(questions, "one thread", expected, "one of several", answers);
    };
}

} // namespace keepsafe_bench
