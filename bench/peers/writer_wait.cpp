#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "Turns.h"
#include "generate/GeneratedCache.h"
#include "peers/Crew.h"
#include "peers/Library.h"
#include "peers/asking.h"
#include "questions/PublishedCache.h"
#include "workloads.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;

namespace {

constexpr unsigned READERS = 8;
/// Longer than the rest that the lock makes a writer take between two holds, which is not a wait for readers.
constexpr int BETWEEN_HOLDS_MS = 2;
constexpr double GOAL_MILLISECONDS = 10;

/// Starts when told to and ends when told to; sends how long each wait for the lock was.
void takeLock(const std::string& path, const SocketEnd& boss)
{
    char order = 0;
    if (!boss.receive(&order, sizeof order)) {
        return;
    }
    const FileLock lock = FileLockManager::instance().getLock(path);
    LatencyHistogram waits;
    pollfd told{boss.descriptor(), POLLIN, 0};
    while (::poll(&told, 1, BETWEEN_HOLDS_MS) == 0) {
        std::unique_ptr<const FileLockGuard> guard;
        waits.add(static_cast<std::uint64_t>(nanosecondsOf([&] {
            guard = std::make_unique<const FileLockGuard>(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                                          FileLock::DEFAULT_INTERVAL);
        })));
    }
    static_cast<void>(boss.send(&waits, sizeof waits));
}

/// Reports when it has begun and, at the end, how many checks it has made.
void checkUntil(const std::atomic<bool>& stopped, const Questions& questions, const Answers& expected,
                unsigned reader, const SocketEnd& boss)
{
    const QuestionRange all = allOf(questions);
    std::uint64_t checks = 0;
    for (std::size_t next = all.count * reader / READERS; !stopped.load(std::memory_order_relaxed);
         next = next + 1 == all.count ? 0 : next + 1) {
        const PeerQuestion& question = all.first[next];
        if (question.caller->checker->checkAccess(question.object) != (expected[next] != 0)) {
            throw std::runtime_error("a wrong answer about " + question.object.str());
        }
        if (++checks == 1) {
            static_cast<void>(boss.send("r", 1));
        }
    }
    static_cast<void>(boss.send(&checks, sizeof checks));
}

void judge(const LatencyHistogram& waits, double checksPerSecond, Report& report)
{
    Report::latencyHeader("Writer beside 8 threads that check");
    report.latencies("wait for the exclusive lock", waits);
    report.value("checks per second beside the writer", checksPerSecond, "1/s");
    report.goal("99 % of a writer's waits", static_cast<double>(waits.percentile(0.99)) / 1e6,
                Report::Bound::AtMost, GOAL_MILLISECONDS, "ms");
}

/// So that the readers end even if the thread that waits for them fails.
class StopAtEnd {
public:
    explicit StopAtEnd(std::atomic<bool>& stopped) noexcept : stopped_(stopped) {}
    ~StopAtEnd() { stopped_ = true; }
    StopAtEnd(const StopAtEnd&) = delete;
    StopAtEnd& operator=(const StopAtEnd&) = delete;

private:
    std::atomic<bool>& stopped_;
};

} // namespace

void measureWriterWait(const Settings& settings, Report& report)
{
    const PublishedCache published(GeneratedCache(settings.baseObjects, SEED).build());
    const Questions questions(published.cache(), {settings.questions, settings.roles, settings.callers},
                              drawLeaf(settings.baseObjects));
    const Answers expected = answersOf(*libraryLookup(published.cache()).open(), questions);
    // The service is another process; it is forked while there is one thread.
    const Worker writer(Worker::Kind::Process, [&published](const SocketEnd& boss) {
        takeLock(published.cache()->manifest_filename(), boss);
    });
    std::atomic<bool> stopped{false};
    std::vector<Worker> readers;
    const StopAtEnd stopAtEnd(stopped);
    for (unsigned reader = 0; reader < READERS; ++reader) {
        readers.emplace_back(Worker::Kind::Thread,
                             [&stopped, &questions, &expected, reader](const SocketEnd& boss) {
                                 checkUntil(stopped, questions, expected, reader, boss);
                             });
    }
    for (const Worker& reader : readers) {
        char begun = 0;
        reader.receive(&begun, sizeof begun);
    }
    const auto start = std::chrono::steady_clock::now();
    writer.tell('g');
    std::this_thread::sleep_for(std::chrono::duration<double>(settings.seconds));
    writer.tell('s');
    LatencyHistogram waits;
    writer.receive(&waits, sizeof waits);
    stopped = true;
    double checks = 0;
    for (const Worker& reader : readers) {
        std::uint64_t own = 0;
        reader.receive(&own, sizeof own);
        checks += static_cast<double>(own);
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    judge(waits, checks / taken.count(), report);
}

} // namespace keepsafe_bench
