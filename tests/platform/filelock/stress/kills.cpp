// Processes die at random points, as with kill -9. Whatever a reader is told later must be one complete
// generation of the data, or that a writer died in the middle.

#include <array>
#include <random>
#include <vector>

#include "Child.h"
#include "measures.h"

namespace filelock_stress {

namespace {

/// The data under the lock: all words carry the generation's number while no writer is at work.
struct Document {
    static constexpr std::size_t WORDS = 4096;
    std::atomic<bool> writeInProgress;
    std::array<std::atomic<std::uint64_t>, WORDS> words;
};

struct KillFigures {
    std::atomic<std::int64_t> generations;
    std::atomic<std::int64_t> completeReads;
    std::atomic<std::int64_t> interruptedReads;
    std::atomic<std::int64_t> tornReads;
    std::atomic<std::int64_t> backwardReads;
};

constexpr auto relaxed = std::memory_order_relaxed;

void writeGenerations(const Options& options, Document& document, KillFigures& figures)
{
    const FileLock lock = makeLock(options);
    for (;;) {
        const FileLockGuard guard(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                  FileLock::DEFAULT_INTERVAL);
        document.writeInProgress.store(true, relaxed);
        std::uint64_t newest = 0;
        for (const auto& word : document.words) {
            newest = std::max(newest, word.load(relaxed));
        }
        for (auto& word : document.words) {
            word.store(newest + 1, relaxed);
        }
        document.writeInProgress.store(false, relaxed);
        figures.generations.fetch_add(1, relaxed);
    }
}

void readOnce(const Document& document, KillFigures& figures, std::uint64_t& lastSeen)
{
    if (document.writeInProgress.load(relaxed)) {
        figures.interruptedReads.fetch_add(1, relaxed);
        return;
    }
    const std::uint64_t generation = document.words[0].load(relaxed);
    for (const auto& word : document.words) {
        if (word.load(relaxed) != generation) {
            figures.tornReads.fetch_add(1, relaxed);
            return;
        }
    }
    if (generation < lastSeen) {
        figures.backwardReads.fetch_add(1, relaxed);
    }
    lastSeen = generation;
    figures.completeReads.fetch_add(1, relaxed);
}

void readGenerations(const Options& options, const Document& document, KillFigures& figures)
{
    const FileLock lock = makeLock(options);
    onThreads(options.threads, [&] {
        std::uint64_t lastSeen = 0;
        for (;;) {
            const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER,
                                      FileLock::DEFAULT_INTERVAL);
            readOnce(document, figures, lastSeen);
        }
    });
}

/// Kills one of the processes after a random time and starts another in its place, again and again.
std::int64_t killAtRandom(std::vector<Child>& victims, const std::function<Child(std::size_t)>& start,
                          const Options& options)
{
    std::mt19937 random(options.seed);
    std::uniform_int_distribution<int> pauseUs(0, 2000);
    std::uniform_int_distribution<std::size_t> choice(0, victims.size() - 1);
    std::int64_t killed = 0;
    for (const Clock::time_point end = Clock::now() + options.duration; Clock::now() < end; ++killed) {
        std::this_thread::sleep_for(std::chrono::microseconds(pauseUs(random)));
        const std::size_t index = choice(random);
        victims[index].kill();
        victims[index] = start(index);
    }
    return killed;
}

} // namespace

bool kills(const Options& options)
{
    const Shared<Document> document;
    const Shared<KillFigures> figures;
    const auto writers = static_cast<std::size_t>(options.writers);
    const auto start = [&](std::size_t index) {
        return index < writers ? Child([&] { writeGenerations(options, *document, *figures); })
                               : Child([&] { readGenerations(options, *document, *figures); });
    };
    std::vector<Child> victims;
    for (std::size_t i = 0; i < writers + static_cast<std::size_t>(options.processes); ++i) {
        victims.push_back(start(i));
    }
    const std::int64_t killed = killAtRandom(victims, start, options);
    victims.clear();
    printFigure("processes killed", killed);
    printFigure("generations written", figures->generations);
    printFigure("reads of a complete generation", figures->completeReads);
    printFigure("reads that found an interrupted write", figures->interruptedReads);
    printFigure("torn reads", figures->tornReads);
    printFigure("reads of an older generation than before", figures->backwardReads);
    return killed > 0 && figures->generations > 0 && figures->completeReads > 0 && figures->tornReads == 0 &&
           figures->backwardReads == 0;
}

} // namespace filelock_stress
