// What an access check costs on a large generated cache, and what it cannot cost less than. Prints a table;
// the figures of one run belong together. `access_bench --help` lists the options.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "Measure.h"
#include "access/UncheckedWalk.h"
#include "access/Workload.h"

namespace keepsafe_bench {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;

std::atomic<std::size_t> answers{0}; ///< keeps the compiler from dropping the work

/// The system calls that no check under a file lock and on growing files can do without: lock and unlock, and
/// the sizes of three files.
class SystemCallFloor {
public:
    explicit SystemCallFloor(const std::string& directory)
        : lock_(openFile(directory, AccessCache::MANIFEST_FILE_NAME))
    {
        for (const auto& name :
             {AccessCache::OBJECT_FILE_NAME, AccessCache::NODE_FILE_NAME, AccessCache::SEGMENT_FILE_NAME}) {
            files_.push_back(openFile(directory, name));
        }
    }
    ~SystemCallFloor()
    {
        close(lock_);
        for (const int file : files_) {
            close(file);
        }
    }
    SystemCallFloor(const SystemCallFloor&) = delete;
    SystemCallFloor& operator=(const SystemCallFloor&) = delete;

    void once() const
    {
        setLock(F_RDLCK);
        struct stat status = {};
        for (const int file : files_) {
            fstat(file, &status);
        }
        setLock(F_UNLCK);
    }

private:
    static int openFile(const std::string& directory, const std::string& name)
    {
        const int file = open((directory + '/' + name).c_str(), O_RDONLY | O_CLOEXEC);
        if (file == -1) {
            throw std::runtime_error("cannot open " + name);
        }
        return file;
    }
    void setLock(short type) const
    {
        struct flock lock = {};
        lock.l_type = type;
        lock.l_whence = SEEK_SET;
        lock.l_start = off_t{1} << 62;
        lock.l_len = 1;
        fcntl(lock_, F_OFD_SETLK, &lock);
    }

    int lock_;
    std::vector<int> files_;
};

void ask(const std::vector<Question>& questions)
{
    std::size_t allowed = 0;
    for (const Question& question : questions) {
        allowed += question.caller->checker->checkAccess(question.object) ? 1U : 0U;
    }
    answers += allowed;
}

void askUnderOneLock(const AccessCache& cache, const std::vector<Question>& questions)
{
    const auto reader = cache.lock();
    std::size_t allowed = 0;
    for (const Question& question : questions) {
        allowed += question.caller->checker->checkAccess(reader, question.object) ? 1U : 0U;
    }
    answers += allowed;
}

void printLine(const char* what, double nanoseconds, const std::string& note = "")
{
    std::printf("  %-46s %9.0f ns  %s\n", what, nanoseconds, note.c_str());
}

std::string ratio(double value, double base, double atMost)
{
    char text[80];
    std::snprintf(text, sizeof text, "= %.2f x (at most %.2f)", value / base, atMost);
    return text;
}

void measureCheck(const Workload& workload, const std::vector<Question>& questions, int rounds)
{
    const SystemCallFloor floor(workload.directory());
    TakingTurns turns(rounds);
    const auto calls = turns.add(questions.size(), [&] {
        for (std::size_t i = 0; i < questions.size(); ++i) {
            floor.once();
        }
    });
    const auto lookup = turns.add(questions.size(), [&] { askUnderOneLock(*workload.cache(), questions); });
    const auto check = turns.add(questions.size(), [&] { ask(questions); });
    turns.run();
    const double sum = turns.result(calls) + turns.result(lookup);
    std::printf("One check, one thread\n");
    printLine("system calls (lock pair, three size queries)", turns.result(calls));
    printLine("bare lookup (many under one lock)", turns.result(lookup));
    printLine("check", turns.result(check), ratio(turns.result(check), sum, 1.25) + " the sum of both");
}

void measureLookups(Workload& workload, const std::vector<Question>& questions,
                    const std::vector<Question>& manyRoles, int rounds)
{
    const UncheckedWalk unchecked(workload.directory());
    struct Kind {
        const char* name;
        std::vector<Question> questions;
        std::size_t checkedNumber = 0;
        std::size_t uncheckedNumber = 0;
    };
    std::vector<Kind> kinds;
    kinds.push_back({"mixed (90 % existing)", questions});
    kinds.push_back({"hit", {}});
    for (std::size_t i = 0; i < questions.size(); ++i) {
        kinds.back().questions.push_back(questions[i % 10 == 0 ? i + 1 : i]);
    }
    kinds.push_back({"miss", workload.misses(questions)});
    kinds.push_back({"deep name (20 components below)", Workload::deepened(questions, 20)});
    kinds.push_back({"many roles (64)", manyRoles});
    kinds.push_back(
        {"mixed, each by a caller of its own", workload.questionsOfDistinctCallers(questions.size(), 8)});
    TakingTurns turns(rounds);
    for (Kind& kind : kinds) {
        const auto& asked = kind.questions;
        kind.checkedNumber = turns.add(asked.size(), [&] { askUnderOneLock(*workload.cache(), asked); });
        kind.uncheckedNumber = turns.add(asked.size(), [&] {
            std::size_t allowed = 0;
            for (const Question& question : asked) {
                allowed += unchecked.decide(question) ? 1U : 0U;
            }
            answers += allowed;
        });
    }
    turns.run();
    std::printf("The lookup itself, without lock and size queries\n");
    for (const Kind& kind : kinds) {
        char note[96];
        const double checked = turns.result(kind.checkedNumber);
        const double bare = turns.result(kind.uncheckedNumber);
        std::snprintf(note, sizeof note, "%7.0f ns without bounds checks: %+.1f %% (at most 5 %%)", bare,
                      100 * (checked / bare - 1));
        printLine(kind.name, checked, note);
    }
}

void measureThreads(const std::vector<Question>& questions, int rounds)
{
    TakingTurns turns(rounds);
    const auto one = turns.add(questions.size(), [&] { ask(questions); });
    const auto two = turns.add(2 * questions.size(), [&] {
        std::thread other([&] { ask(questions); });
        ask(questions);
        other.join();
    });
    turns.run();
    std::printf("Threads\n");
    std::printf("  checks per second: one thread %.0f, two threads %.0f = %.2f x (at least 1.80)\n",
                1e9 / turns.result(one), 1e9 / turns.result(two), turns.result(one) / turns.result(two));
}

/// Bytes of the cache's files that are in this process's resident memory, from the kernel's list of its
/// mappings.
std::size_t residentOf(const std::string& directory)
{
    std::ifstream maps("/proc/self/smaps");
    std::size_t kibibytes = 0;
    bool counted = false;
    for (std::string line; std::getline(maps, line);) {
        if (line.find(':') == std::string::npos || line.find('-') < line.find(' ')) {
            counted = line.find(directory) != std::string::npos;
        } else if (counted && line.compare(0, 4, "Rss:") == 0) {
            kibibytes += std::strtoul(line.c_str() + 4, nullptr, 10);
        }
    }
    return kibibytes * 1024;
}

void measureOpening(const Workload& small, const Workload& large, const std::vector<Question>& questions,
                    int rounds)
{
    const auto open = [](const Workload& workload) {
        const AccessCache cache(Manifest("bench", workload.directory()));
        answers += cache.managedObjectCount();
    };
    constexpr std::size_t TIMES = 200;
    TakingTurns turns(rounds);
    const auto openSmall = turns.add(TIMES, [&] {
        for (std::size_t i = 0; i < TIMES; ++i) {
            open(small);
        }
    });
    const auto openLarge = turns.add(TIMES, [&] {
        for (std::size_t i = 0; i < TIMES; ++i) {
            open(large);
        }
    });
    turns.run();
    std::printf("Opening\n");
    char note[96];
    std::snprintf(note, sizeof note, "%zu objects (under 1 ms)", small.cache()->managedObjectCount() - 1);
    printLine("manifest and maps, small cache", turns.result(openSmall), note);
    std::snprintf(note, sizeof note, "%zu objects (under 1 ms)", large.cache()->managedObjectCount() - 1);
    printLine("manifest and maps, large cache", turns.result(openLarge), note);
    // A process of its own: the pages of this one have been touched by the measurements before.
    std::fflush(stdout);
    if (fork() == 0) {
        const std::size_t inherited = residentOf(large.directory());
        const AccessCache cache(Manifest("bench", large.directory()));
        const std::size_t opened = residentOf(large.directory()) - inherited;
        for (std::size_t i = 0; i < 100 && i < questions.size(); ++i) {
            const auto reader = cache.lock();
            answers += questions[i].caller->checker->checkAccess(reader, questions[i].object) ? 1U : 0U;
        }
        const std::size_t asked = residentOf(large.directory()) - inherited;
        std::printf("  resident of the files: %zu KiB after opening, %zu KiB after 100 lookups\n",
                    opened / 1024, asked / 1024);
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    wait(&status);
}

void run(std::uint64_t leaves, std::size_t questionCount, int rounds, bool onlyLookups)
{
    std::printf("%llu leaves, seed %llu, %zu questions, callers with 8 roles, median of %d rounds\n",
                static_cast<unsigned long long>(leaves), static_cast<unsigned long long>(Workload::SEED),
                questionCount, rounds);
    Workload large(leaves);
    Workload small(100);
    const std::vector<Question> questions = large.questions(questionCount, 8);
    const std::vector<Question> manyRoles = large.questions(questionCount, 64);
    std::size_t allowed = 0;
    {
        const auto reader = large.cache()->lock();
        for (const Question& question : questions) {
            allowed += question.caller->checker->checkAccess(reader, question.object) ? 1U : 0U;
        }
    }
    std::printf("allowed: %.1f %%\n",
                100.0 * static_cast<double>(allowed) / static_cast<double>(questionCount));
    if (onlyLookups) {
        measureLookups(large, questions, manyRoles, rounds);
        return;
    }
    measureOpening(small, large, questions, rounds);
    measureCheck(large, questions, rounds);
    measureLookups(large, questions, manyRoles, rounds);
    measureThreads(questions, rounds);
}

} // namespace
} // namespace keepsafe_bench

int main(int argc, char** argv)
{
    CLI::App app("Measures access checks on a generated cache.\nExample: access_bench --objects 1000000");
    std::uint64_t leaves = 1000000;
    std::size_t questions = 200000;
    int rounds = 9;
    app.add_option("--objects", leaves, "Leaves of the generated cache")->check(CLI::Range(1000, 9000000));
    app.add_option("--questions", questions, "Different questions in a round")
        ->check(CLI::Range(100, 10000000));
    app.add_option("--rounds", rounds, "Rounds; the median counts")->check(CLI::Range(1, 1000));
    bool onlyLookups = false;
    app.add_flag("--only-lookups", onlyLookups, "Measure the lookups alone");
    CLI11_PARSE(app, argc, argv);
    keepsafe_bench::run(leaves, questions, rounds, onlyLookups);
    return 0;
}
