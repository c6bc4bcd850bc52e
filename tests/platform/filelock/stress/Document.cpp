#include "Document.h"

#include <cerrno>
#include <csignal>

#include <unistd.h>

#include "measures.h"

namespace filelock_stress {

namespace {

constexpr auto relaxed = std::memory_order_relaxed;

/// The next of a series of numbers that look random.
std::uint64_t nextRandom(std::uint64_t& state) noexcept
{
    state += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
}

std::uint64_t addToCheckSum(std::uint64_t sum, std::uint64_t word) noexcept
{
    return (sum ^ word) * 0x100000001B3U;
}

/// 0 for a document that nobody has written yet, which is sound.
std::uint64_t checkSumOf(const Document& document) noexcept
{
    std::uint64_t sum = document.generation.load(relaxed);
    for (const auto& word : document.words) {
        sum = addToCheckSum(sum, word.load(relaxed));
    }
    return sum;
}

bool lives(pid_t process) noexcept { return kill(process, 0) == 0 || errno != ESRCH; }

/// Of a document with a write in progress: whether its writer has died in it. One who lives goes on, perhaps
/// only after a while on a busy machine, and one who was killed is gone soon.
bool writerHasDied(const Document& document) noexcept
{
    const std::uint64_t generation = document.generation.load(relaxed);
    const pid_t writer = document.writer.load(relaxed);
    while (lives(writer)) {
        std::this_thread::sleep_for(std::chrono::microseconds(50));
        if (!document.writeInProgress.load(relaxed)) {
            return false;
        }
    }
    return document.writeInProgress.load(relaxed) && document.generation.load(relaxed) == generation;
}

} // namespace

void writeNextGeneration(Document& document) noexcept
{
    document.writer.store(getpid(), relaxed);
    document.writeInProgress.store(true, relaxed);
    const std::uint64_t generation = document.generation.load(relaxed) + 1;
    document.generation.store(generation, relaxed);
    std::uint64_t random = generation;
    std::uint64_t sum = generation;
    for (auto& stored : document.words) {
        const std::uint64_t word = nextRandom(random);
        stored.store(word, relaxed);
        sum = addToCheckSum(sum, word);
    }
    document.checkSum.store(sum, relaxed);
    document.writeInProgress.store(false, relaxed);
}

void DocumentReader::read(const Document& document, ReadFigures& figures) noexcept
{
    if (document.writeInProgress.load(relaxed)) {
        (writerHasDied(document) ? figures.interrupted : figures.torn).fetch_add(1, relaxed);
        return;
    }
    const std::uint64_t generation = document.generation.load(relaxed);
    const std::uint64_t sum = checkSumOf(document);
    if (sum != document.checkSum.load(relaxed)) {
        figures.torn.fetch_add(1, relaxed);
        return;
    }
    if (generation < lastGeneration_) {
        figures.backward.fetch_add(1, relaxed);
    }
    lastGeneration_ = generation;
    figures.complete.fetch_add(1, relaxed);
}

void ReadFigures::add(const ReadFigures& others) noexcept
{
    complete += others.complete;
    interrupted += others.interrupted;
    torn += others.torn;
    backward += others.backward;
}

bool ReadFigures::printAndCheck() const
{
    printFigure("reads of a complete generation", complete);
    printFigure("reads that found an interrupted write", interrupted);
    printFigure("torn reads", torn);
    printFigure("reads of an older generation than before", backward);
    return complete > 0 && torn == 0 && backward == 0;
}

} // namespace filelock_stress
