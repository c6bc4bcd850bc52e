#include "peers/Library.h"

#include <algorithm>
#include <utility>

namespace keepsafe_bench {

namespace {

class Check : public Contender {
public:
    void answer(QuestionRange questions, char* answers) override
    {
        for (const PeerQuestion& question : questions) {
            *answers++ = question.caller->checker->checkAccess(question.object) ? 1 : 0;
        }
    }
};

class Lookup : public Contender {
public:
    explicit Lookup(Questions::Cache cache) : cache_(std::move(cache)) {}

    void answer(QuestionRange questions, char* answers) override
    {
        constexpr std::size_t UNDER_ONE_LOCK = 1000;
        for (std::size_t done = 0; done < questions.count; done += UNDER_ONE_LOCK) {
            const std::size_t count = std::min(UNDER_ONE_LOCK, questions.count - done);
            const auto reader = cache_->lock();
            for (const PeerQuestion& question : QuestionRange{questions.first + done, count}) {
                *answers++ = question.caller->checker->checkAccess(reader, question.object) ? 1 : 0;
            }
        }
    }

private:
    Questions::Cache cache_;
};

} // namespace

ContenderKind libraryCheck()
{
    return {CHECK, [] { return std::make_unique<Check>(); }};
}

ContenderKind libraryLookup(Questions::Cache cache)
{
    return {LOOKUP, [cache = std::move(cache)] { return std::make_unique<Lookup>(cache); }};
}

} // namespace keepsafe_bench
