#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include <poll.h>

#include "Turns.h"
#include "cachewriter/LiveCache.h"
#include "files/PosixFileSystem.h"
#include "generate/GeneratedCache.h"
#include "peers/Crew.h"
#include "peers/Library.h"
#include "peers/asking.h"
#include "peers/object_tree.h"
#include "questions/PublishedCache.h"
#include "workloads.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;
using keepsafe_service::CacheObject;
using keepsafe_service::LiveCache;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::chrono::milliseconds BETWEEN_CHANGES(10);
constexpr std::chrono::microseconds BETWEEN_CHECKS(100);
constexpr double GOAL_MICROSECONDS = 200;

std::uint64_t nanoseconds(Clock::duration duration)
{
    return static_cast<std::uint64_t>(std::chrono::nanoseconds(duration).count());
}

/// The service's part: a cache in its own folder, which it updates.
class Service {
public:
    explicit Service(std::uint64_t leaves)
        : location_(folder_.path(), "bench"), leaves_(leaves),
          cache_(fileSystem_, location_, GeneratedCache::rootNamespace())
    {
        visitObjects(leaves, [this](const CacheObject& object, std::size_t) { cache_.put(object); });
        cache_.publish(GeneratedCache::operations());
    }

    [[nodiscard]] const keepsafe_service::CacheLocation& location() const noexcept { return location_; }

    /// One change at a time until the connection receives something or ends; then sends how long each took.
    void publishUntilTold(const SocketEnd& boss)
    {
        LatencyHistogram times;
        pollfd told{boss.descriptor(), POLLIN, 0};
        auto due = Clock::now();
        for (unsigned change = 0;; ++change) {
            // Late changes are not caught up with in a burst.
            due = std::max(due + BETWEEN_CHANGES, Clock::now());
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(due - Clock::now());
            if (::poll(&told, 1, std::max(0, static_cast<int>(left.count()))) != 0) {
                break;
            }
            times.add(static_cast<std::uint64_t>(nanosecondsOf([&] { publish(change); })));
        }
        static_cast<void>(boss.send(&times, sizeof times));
    }

private:
    /// An object is added, gets another grant, and is removed. No question is about it, so all answers stay
    /// the same.
    void publish(unsigned change)
    {
        CacheObject object;
        object.ns = GeneratedCache::leafNamespace(2 * leaves_ + change / 3 % 1000);
        object.own.add(GeneratedCache::FIRST_ROLE, GeneratedCache::operationBit(change % 3));
        if (change % 3 == 2) {
            cache_.remove(object.ns);
        } else {
            cache_.put(object);
        }
        cache_.publish(GeneratedCache::operations());
    }

    keepsafe_test::TempDir folder_;
    keepsafe_service::PosixFileSystem fileSystem_;
    keepsafe_service::CacheLocation location_;
    std::uint64_t leaves_;
    LiveCache cache_;
};

/// One thread that checks and verifies the answers.
class Reading {
public:
    Reading(const Questions& questions, Answers expected)
        : questions_(questions), expected_(std::move(expected))
    {
    }

    /// One check after the other. The clock is read once for each, so that a time includes that.
    LatencyHistogram tight(double seconds)
    {
        LatencyHistogram times;
        const auto end = Clock::now() + std::chrono::duration<double>(seconds);
        for (auto begun = Clock::now(); begun < end;) {
            check();
            const auto done = Clock::now();
            times.add(nanoseconds(done - begun));
            begun = done;
        }
        return times;
    }

    struct Paced {
        LatencyHistogram checks;
        LatencyHistogram sinceDue; ///< includes the wait for the previous check, as a caller experiences it
    };
    /// One check at a time; waits without sleeping, because waking up would be measured otherwise.
    Paced paced(double seconds)
    {
        Paced paced;
        auto due = Clock::now();
        const auto end = due + std::chrono::duration<double>(seconds);
        while (due < end) {
            due += BETWEEN_CHECKS;
            auto begun = Clock::now();
            while (begun < due) {
                begun = Clock::now();
            }
            check();
            const auto done = Clock::now();
            paced.checks.add(nanoseconds(done - begun));
            paced.sinceDue.add(nanoseconds(done - due));
        }
        return paced;
    }

private:
    void check()
    {
        const PeerQuestion& question = questions_.all()[next_];
        if (question.caller->checker->checkAccess(question.object) != (expected_[next_] != 0)) {
            throw std::runtime_error("a wrong answer about " + question.object.str());
        }
        next_ = next_ + 1 == questions_.size() ? 0 : next_ + 1;
    }

    const Questions& questions_;
    Answers expected_;
    std::size_t next_ = 0;
};

struct Measured {
    LatencyHistogram tight;
    Reading::Paced paced;
};

Measured measure(Reading& reading, const Settings& settings, const std::string& when, Report& report)
{
    Measured measured;
    measured.tight = reading.tight(settings.seconds);
    report.latencies("check in a tight loop, " + when, measured.tight);
    measured.paced = reading.paced(settings.seconds);
    report.latencies("check each 100 us, " + when, measured.paced.checks);
    report.latencies("from when it was due, " + when, measured.paced.sinceDue);
    return measured;
}

void judge(const Measured& measured, Report& report)
{
    const auto judgeOne = [&report](const char* name, const LatencyHistogram& times) {
        report.goal(name, static_cast<double>(times.percentile(0.99)) / 1e3, Report::Bound::AtMost,
                    GOAL_MICROSECONDS, "us");
    };
    judgeOne("99 % of checks in a tight loop, publishing", measured.tight);
    judgeOne("99 % of checks each 100 us, publishing", measured.paced.checks);
}

} // namespace

void measureWhilePublishing(const Settings& settings, Report& report)
{
    Service service(settings.baseObjects);
    const Questions::Cache cache = openCache(service.location());
    const Questions questions(cache, {settings.questions, settings.roles, settings.callers},
                              drawLeaf(settings.baseObjects));
    Reading reading(questions, answersOf(*libraryLookup(cache).open(), questions));
    Report::latencyHeader("One check while others publish");
    measure(reading, settings, "alone", report);
    const Worker publisher(Worker::Kind::Process,
                           [&service](const SocketEnd& boss) { service.publishUntilTold(boss); });
    const auto start = Clock::now();
    const Measured measured = measure(reading, settings, "publishing", report);
    publisher.tell('s');
    LatencyHistogram publications;
    publisher.receive(&publications, sizeof publications);
    const std::chrono::duration<double> taken = Clock::now() - start;
    report.latencies("publishing one change", publications);
    const double rate = static_cast<double>(publications.total()) / taken.count();
    report.value("publications per second", rate, "1/s");
    judge(measured, report);
}

} // namespace keepsafe_bench
