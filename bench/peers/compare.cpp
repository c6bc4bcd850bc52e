#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Turns.h"
#include "generate/GeneratedCache.h"
#include "peers/Crew.h"
#include "peers/HashTable.h"
#include "peers/Library.h"
#include "peers/Lmdb.h"
#include "peers/MemoryLoads.h"
#include "peers/Sqlite.h"
#include "peers/asking.h"
#include "peers/costs.h"
#include "questions/PublishedCache.h"
#include "workloads.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;

namespace {

constexpr const char* LMDB = "LMDB";
constexpr std::size_t COUNTED_QUESTIONS = 10000;

/// One size of the cache, with all contenders.
class Comparison {
public:
    Comparison(std::uint64_t leaves, const Settings& settings, Report& report)
        : leaves_(leaves), settings_(settings), report_(report),
          published_(GeneratedCache(leaves, SEED).build()),
          questions_(published_.cache(), {settings.questions, settings.roles, settings.callers},
                     drawLeaf(leaves)),
          lmdb_(folder_.path("lmdb"), leaves), sqlite_(folder_.path("sqlite"), leaves)
    {
        kinds_ = {hashTable(leaves), lmdb_.beginning(), lmdb_.renewing(),
                  sqlite_.kind(),    libraryCheck(),    libraryLookup(published_.cache())};
    }

    void run()
    {
        announce();
        verify();
        count();
        measure();
        print();
        judge();
    }

private:
    struct Counted {
        std::optional<double> systemCalls;
        double allocations;
    };

    void announce() const
    {
        const std::string directory = published_.location().accessCache() + '/';
        std::printf("\n%zu objects: cache %.0f MB, LMDB %.0f MB, SQLite %.0f MB\n",
                    published_.cache()->managedObjectCount() - 1,
                    megabytes({directory + "objects", directory + "nodes", directory + "segments"}),
                    megabytes({folder_.path("lmdb")}), megabytes({folder_.path("sqlite")}));
    }

    static double megabytes(const std::vector<std::string>& files)
    {
        double bytes = 0;
        for (const std::string& file : files) {
            bytes += static_cast<double>(std::filesystem::file_size(file));
        }
        return bytes / 1e6;
    }

    /// All of them agree, and there are both allowed and denied questions.
    void verify()
    {
        for (const ContenderKind& kind : kinds_) {
            const Answers answers = answersOf(*kind.open(), questions_);
            if (expected_.empty()) {
                expected_ = answers;
            }
            requireSame(questions_, kinds_.front().name, expected_, kind.name, answers);
        }
        std::printf("%zu questions, %.1f %% allowed; all contenders agree on all of them\n",
                    questions_.size(), 100 * requireBoth(expected_));
        static_cast<void>(std::fflush(stdout));
    }

    void count()
    {
        // Tracing makes system calls many times slower.
        const QuestionRange some{questions_.all().data(),
                                 std::min<std::size_t>(questions_.size(), COUNTED_QUESTIONS)};
        for (const ContenderKind& kind : kinds_) {
            counted_[kind.name] = {systemCallsPerCheck(kind, some), allocationsPerCheck(kind, some)};
        }
    }

    /// Without what is done only once: the difference between two passes and one.
    static std::optional<double> systemCallsPerCheck(const ContenderKind& kind, QuestionRange questions)
    {
        const auto passes = [&](int number) {
            return systemCallsOf([&] {
                Answers answers(questions.count);
                const auto contender = kind.open();
                for (int pass = 0; pass < number; ++pass) {
                    contender->answer(questions, answers.data());
                }
            });
        };
        const auto one = passes(1);
        const auto two = passes(2);
        if (!one || !two) {
            return std::nullopt;
        }
        return static_cast<double>(*two - *one) / static_cast<double>(questions.count);
    }

    /// In a second pass.
    static double allocationsPerCheck(const ContenderKind& kind, QuestionRange questions)
    {
        Answers answers(questions.count);
        const auto contender = kind.open();
        contender->answer(questions, answers.data());
        const std::size_t before = allocations();
        contender->answer(questions, answers.data());
        return static_cast<double>(allocations() - before) / static_cast<double>(questions.count);
    }

    void measure()
    {
        Turns turns(settings_.rounds);
        std::map<std::string, std::size_t> numbers;
        std::vector<std::unique_ptr<Contender>> contenders;
        for (const ContenderKind& kind : kinds_) {
            contenders.push_back(kind.open());
            numbers[kind.name] = turns.add(timed(*contenders.back(), questions_));
        }
        const MemoryLoads loads(published_.location().accessCache(), questions_);
        linesPerCheck_ = loads.linesPerQuestion();
        const auto addLoads = [&](const char* name, MemoryLoads::Order order) {
            numbers[name] = turns.add(questions_.size(), [&loads, order] { loads.read(order); });
        };
        addLoads(LOADS, MemoryLoads::Order::AsInAWalk);
        addLoads(LOADS_AT_ONCE, MemoryLoads::Order::AtOnce);
        std::vector<std::unique_ptr<Crew>> crews;
        // Processes are forked while there is one thread.
        for (const auto kind : {Worker::Kind::Process, Worker::Kind::Thread}) {
            for (const unsigned size : {1U, 2U}) {
                crews.push_back(std::make_unique<Crew>(kind, size, repeated(size)));
                const Crew& crew = *crews.back();
                numbers[nameOf(kind, size)] = turns.add([&crew, size, this] {
                    return crew.round() / static_cast<double>(size * questions_.size() * passes());
                });
            }
        }
        numbers[OPENING] =
            turns.add([this] { return nanosecondsOf([this] { openCache(published_.location()); }); });
        turns.run();
        for (const auto& [name, number] : numbers) {
            figures_[name] = turns.figures(number);
        }
    }

    /// Long enough that the placement on processors in the first milliseconds of a round does not matter.
    [[nodiscard]] std::size_t passes() const
    {
        constexpr std::size_t CHECKS = 2000000;
        constexpr int SHORT_FORM = 2;
        return settings_.rounds > SHORT_FORM ? std::max<std::size_t>(CHECKS / questions_.size(), 1) : 1;
    }

    [[nodiscard]] Crew::Work repeated(unsigned size) const
    {
        return
            [ask = asking(libraryCheck(), questions_, expected_, size), times = passes()](unsigned worker) {
                for (std::size_t pass = 0; pass < times; ++pass) {
                    ask(worker);
                }
            };
    }

    static std::string nameOf(Worker::Kind kind, unsigned size)
    {
        return std::to_string(size) + (kind == Worker::Kind::Process ? " processes" : " threads");
    }

    void print()
    {
        for (const ContenderKind& kind : kinds_) {
            const std::string of = " of " + kind.name + " at " + std::to_string(leaves_);
            report_.point("objects", kind.name, static_cast<double>(leaves_), "ns", figures_[kind.name]);
            if (const auto& calls = counted_[kind.name].systemCalls) {
                report_.value("  system calls" + of, *calls, "per check");
            }
            report_.value("  allocations" + of, counted_[kind.name].allocations, "per check");
        }
        for (const char* const name : {LOADS, LOADS_AT_ONCE}) {
            report_.point("objects", name, static_cast<double>(leaves_), "ns", figures_[name]);
        }
        report_.value("  cache lines of the files at " + std::to_string(leaves_), linesPerCheck_,
                      "per check");
        report_.point("opening", "cache", static_cast<double>(leaves_), "ns", figures_[OPENING]);
    }

    void judge()
    {
        const std::string at = " at " + std::to_string(leaves_);
        const auto ratio = [this](const std::string& of, const std::string& to) {
            return figures_[of].median / figures_[to].median;
        };
        const auto atMost = Report::Bound::AtMost;
        const auto atLeast = Report::Bound::AtLeast;
        report_.goal("check / lookup" + at, ratio(CHECK, LOOKUP), atMost, 1.15, "");
        report_.goal("check / LMDB" + at, ratio(CHECK, LMDB), atMost, 0.6, "");
        if (leaves_ == 1000) {
            report_.goal("lookup" + at, figures_[LOOKUP].median, atMost, 250, "ns");
        }
        report_.goal("two threads against one" + at,
                     ratio(nameOf(Worker::Kind::Thread, 1), nameOf(Worker::Kind::Thread, 2)), atLeast, 1.9,
                     "");
        report_.goal("two processes against one" + at,
                     ratio(nameOf(Worker::Kind::Process, 1), nameOf(Worker::Kind::Process, 2)), atLeast, 1.9,
                     "");
        report_.goal("opening a cache" + at, figures_[OPENING].median / 1e6, atMost, 1, "ms");
        if (const auto& calls = counted_[CHECK].systemCalls) {
            // None, except for a check of the paths and the files' sizes every 10 ms: one may fall into the
            // short pass that is counted.
            constexpr double CALLS_OF_A_LOOK = 11;
            const double looks = figures_[CHECK].median * COUNTED_QUESTIONS / 10e6 + 1;
            report_.goal("system calls per check" + at, *calls, atMost,
                         CALLS_OF_A_LOOK * looks / COUNTED_QUESTIONS, "");
        }
        report_.goal("allocations per check" + at, counted_[CHECK].allocations, atMost, 0, "");
    }

    static constexpr const char* OPENING = "opening";
    static constexpr const char* LOADS = "memory loads alone";
    static constexpr const char* LOADS_AT_ONCE = "memory loads alone, at once";

    std::uint64_t leaves_;
    const Settings& settings_;
    Report& report_;
    PublishedCache published_;
    Questions questions_;
    keepsafe_test::TempDir folder_;
    LmdbDatabase lmdb_;
    SqliteDatabase sqlite_;
    std::vector<ContenderKind> kinds_;
    Answers expected_;
    double linesPerCheck_ = 0;
    std::map<std::string, Counted> counted_;
    std::map<std::string, Figures> figures_;
};

} // namespace

void measurePeers(const Settings& settings, Report& report)
{
    for (const std::uint64_t leaves : settings.objects) {
        Comparison(leaves, settings, report).run();
    }
}

} // namespace keepsafe_bench
