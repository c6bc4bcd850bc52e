#include "Explorer.h"

#include <algorithm>

#include "Rules.h"

namespace keepsafe_test::protocol {

namespace {

/// The search: the states in the order in which they were found, and how each one was.
class Search : public Steps {
public:
    Search(const Configuration& configuration, bool asksProgress)
        : configuration_(configuration), asksProgress_(asksProgress), progress_(configuration)
    {
    }

    Exploration run();
    void step(const Actor& who, const char* what, const State& next) override;

private:
    struct Origin {
        std::uint32_t from;
        Actor who;
        const char* what;
    };

    void count(const State& state);
    [[nodiscard]] const char* brokenRule(const State& state);
    [[nodiscard]] std::string traceTo(std::size_t number) const;

    const Configuration& configuration_;
    const bool asksProgress_;
    Progress progress_;
    StateSet states_;
    std::vector<Origin> origins_;
    std::uint32_t current_ = 0;
    Exploration result_;
};

Exploration Search::run()
{
    states_.add(initialState(configuration_));
    origins_.push_back({0, {Actor::Kind::World}, ""});
    for (; current_ < states_.size() && result_.broken.empty(); ++current_) {
        const State state = states_[current_];
        count(state);
        if (const char* const broken = brokenRule(state)) {
            result_.broken = broken;
            result_.trace = traceTo(current_);
        }
        takeSteps(configuration_, state, *this);
    }
    result_.states = states_.size();
    return result_;
}

void Search::step(const Actor& who, const char* what, const State& next)
{
    ++result_.steps;
    if (states_.add(next) != StateSet::NOT_NEW) {
        origins_.push_back({current_, who, what});
    }
}

void Search::count(const State& state)
{
    result_.writersInside += std::any_of(state.writers.begin(), state.writers.end(), isWriting) ? 1 : 0;
    result_.readersInside += anySlotReader(state) ? 1 : 0;
}

const char* Search::brokenRule(const State& state)
{
    const char* const safety = brokenSafety(configuration_, state);
    return safety == nullptr && asksProgress_ ? progress_.broken(state) : safety;
}

std::string Search::traceTo(std::size_t number) const
{
    std::vector<std::string> lines;
    for (; number != 0; number = origins_[number].from) {
        lines.push_back("  " + toText(origins_[number].who) + ": " + origins_[number].what + '\n');
    }
    std::string text;
    std::for_each(lines.rbegin(), lines.rend(), [&](const std::string& line) { text += line; });
    return text;
}

} // namespace

Exploration explore(const Configuration& configuration, bool askProgress)
{
    return Search(configuration, askProgress).run();
}

} // namespace keepsafe_test::protocol
