#include <algorithm>
#include <deque>
#include <memory>
#include <string>

#include "Turns.h"
#include "generate/GeneratedCache.h"
#include "peers/Crew.h"
#include "peers/Library.h"
#include "peers/asking.h"
#include "peers/deep_tree.h"
#include "questions/PublishedCache.h"
#include "workloads.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;

namespace {

/// Few enough that a round with a thousand roles takes seconds and the questions of a whole line fit in
/// memory together.
constexpr std::size_t MOST_QUESTIONS = 20000;

/// A check and the lookup alone by something that varies, all alternating.
class Line {
public:
    Line(std::string panel, const Settings& settings) : panel_(std::move(panel)), turns_(settings.rounds) {}

    void add(unsigned x, std::unique_ptr<Questions> questions, const Questions::Cache& cache)
    {
        questions_.push_back(std::move(questions));
        const Questions& asked = *questions_.back();
        const ContenderKind lookup = libraryLookup(cache);
        const ContenderKind check = libraryCheck();
        const Answers expected = answersOf(*lookup.open(), asked);
        requireBoth(expected);
        requireSame(asked, LOOKUP, expected, CHECK, answersOf(*check.open(), asked));
        for (const ContenderKind& kind : {check, lookup}) {
            contenders_.push_back(kind.open());
            entries_.push_back({kind.name, x, turns_.add(timed(*contenders_.back(), asked))});
        }
    }

    void run(Report& report)
    {
        turns_.run();
        for (const Entry& entry : entries_) {
            report.point(panel_, entry.name, entry.x, "ns", turns_.figures(entry.number));
        }
    }

private:
    struct Entry {
        std::string name;
        unsigned x;
        std::size_t number;
    };

    std::string panel_;
    Turns turns_;
    std::vector<std::unique_ptr<Questions>> questions_;
    std::vector<std::unique_ptr<Contender>> contenders_;
    std::vector<Entry> entries_;
};

/// 512 callers: with a thousand roles for each question, memory use would dominate.
Questions::Kind someQuestions(const Settings& settings, unsigned roles)
{
    return {std::min(settings.questions, MOST_QUESTIONS), roles, Callers::Shared};
}

void scaleRoles(const PublishedCache& published, const Settings& settings, Report& report)
{
    Line line("roles", settings);
    for (const unsigned roles : {1U, 2U, 4U, 8U, 16U, 32U, 64U, 125U, 250U, 500U, 1000U}) {
        line.add(roles,
                 std::make_unique<Questions>(published.cache(), someQuestions(settings, roles),
                                             drawLeaf(settings.baseObjects)),
                 published.cache());
    }
    line.run(report);
}

void scaleDepth(const Settings& settings, Report& report)
{
    std::deque<PublishedCache> caches;
    Line line("depth", settings);
    for (const unsigned depth : {2U, 4U, 8U, 16U, 32U, 64U}) {
        const Questions::Cache& cache = caches.emplace_back(deepTree(depth)).cache();
        line.add(
            depth,
            std::make_unique<Questions>(cache, someQuestions(settings, settings.roles), drawDeepLeaf(depth)),
            cache);
    }
    line.run(report);
}

/// Checks per second of all workers together.
void scaleWorkers(const PublishedCache& published, const Settings& settings, Report& report)
{
    const Questions questions(published.cache(), {settings.questions, settings.roles, settings.callers},
                              drawLeaf(settings.baseObjects));
    const Answers expected = answersOf(*libraryLookup(published.cache()).open(), questions);
    struct Entry {
        const char* series;
        unsigned size;
        std::size_t number;
    };
    Turns turns(settings.rounds);
    std::vector<Entry> entries;
    std::vector<std::unique_ptr<Crew>> crews;
    // Processes are forked while there is one thread.
    for (const auto kind : {Worker::Kind::Process, Worker::Kind::Thread}) {
        for (const unsigned size : {1U, 2U, 4U, 8U}) {
            crews.push_back(
                std::make_unique<Crew>(kind, size, asking(libraryCheck(), questions, expected, size)));
            const auto checks = static_cast<double>(size * questions.size());
            const auto rate = [&crew = *crews.back(), checks] { return checks * 1e9 / crew.round(); };
            entries.push_back(
                {kind == Worker::Kind::Process ? "processes" : "threads", size, turns.add(rate)});
        }
    }
    turns.run();
    for (const Entry& entry : entries) {
        report.point("workers", entry.series, entry.size, "checks/s", turns.figures(entry.number));
    }
}

} // namespace

void measureScaling(const Settings& settings, Report& report)
{
    const PublishedCache published(GeneratedCache(settings.baseObjects, SEED).build());
    scaleRoles(published, settings, report);
    scaleDepth(settings, report);
    scaleWorkers(published, settings, report);
}

} // namespace keepsafe_bench
