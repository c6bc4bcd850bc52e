#include "peers/MemoryLoads.h"

#include <algorithm>
#include <limits>

#include "Turns.h"

namespace keepsafe_bench {

namespace {

constexpr std::uintptr_t LINE = 64;

std::uintptr_t lineOf(const void* address) { return reinterpret_cast<std::uintptr_t>(address) / LINE; }

/// The byte there, for its reading alone.
std::uintptr_t load(std::uintptr_t address)
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the address is computed from those of objects
    return *reinterpret_cast<const volatile std::uint8_t*>(address);
}

/// Zero, unknown to the compiler.
std::uintptr_t zero()
{
    std::uintptr_t value = 0;
    asm volatile("" : "+r"(value));
    return value;
}

} // namespace

MemoryLoads::MemoryLoads(const std::string& cacheDirectory, const Questions& questions)
    : walk_(cacheDirectory), questions_(questions)
{
    std::uintptr_t lowest = std::numeric_limits<std::uintptr_t>::max();
    for (const PeerQuestion& question : questions.all()) {
        static_cast<void>(walk_.decide(question, [&](const void* record, UncheckedWalk::Reached) {
            lowest = std::min(lowest, lineOf(record));
        }));
    }
    base_ = lowest;
    plans_.reserve(questions.size());
    for (const PeerQuestion& question : questions.all()) {
        add(question);
    }
}

void MemoryLoads::add(const PeerQuestion& question)
{
    std::vector<std::uintptr_t> dependent;
    std::vector<std::uintptr_t> independent;
    const auto has = [](const std::vector<std::uintptr_t>& lines, std::uintptr_t line) {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    };
    static_cast<void>(walk_.decide(question, [&](const void* record, UncheckedWalk::Reached reached) {
        const std::uintptr_t line = lineOf(record);
        auto& lines = reached == UncheckedWalk::Reached::ByName ? dependent : independent;
        if (!has(dependent, line) && !has(independent, line)) {
            lines.push_back(line);
        }
    }));
    plans_.push_back(
        {static_cast<std::uint16_t>(dependent.size()), static_cast<std::uint16_t>(independent.size())});
    for (const auto* lines : {&dependent, &independent}) {
        std::transform(lines->begin(), lines->end(), std::back_inserter(lines_),
                       [this](std::uintptr_t line) { return numberOf(line); });
    }
}

std::uint32_t MemoryLoads::numberOf(std::uintptr_t line) const
{
    require(line - base_ <= std::numeric_limits<std::uint32_t>::max(),
            "the cache's files are mapped close together");
    return static_cast<std::uint32_t>(line - base_);
}

void MemoryLoads::read(Order order) const
{
    const std::uintptr_t none = zero();
    const std::uintptr_t base = base_ * LINE;
    const std::uint32_t* line = lines_.data();
    const Plan* plan = plans_.data();
    for (const PeerQuestion& question : questions_.all()) {
        const std::string& text = question.object.str();
        const auto checker = reinterpret_cast<std::uintptr_t>(question.caller->checker.get());
        load(reinterpret_cast<std::uintptr_t>(text.data()));
        load(reinterpret_cast<std::uintptr_t>(text.data()) + text.size());
        load(checker);
        load(checker + LINE);
        const std::uint32_t* const end = line + plan->dependent + plan->independent;
        if (order == Order::AsInAWalk) {
            std::uintptr_t before = 0;
            for (const std::uint32_t* const last = line + plan->dependent; line != last; ++line) {
                before = load(base + *line * LINE + before) & none;
            }
        }
        for (; line != end; ++line) {
            load(base + *line * LINE);
        }
        ++plan;
    }
}

double MemoryLoads::linesPerQuestion() const
{
    return static_cast<double>(lines_.size()) / static_cast<double>(plans_.size());
}

} // namespace keepsafe_bench
