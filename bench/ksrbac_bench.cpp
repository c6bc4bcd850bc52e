// Runs named workloads and prints one line for each measurement: its median, the range of the middle half of
// its rounds and, where there is one, the floor that it cannot go below. `--json` writes all figures to a
// file for scripts/bench-compare and scripts/plot. Figures of one run belong together.

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "support/Descriptor.h"
#include "support/Process.h"
#include "workloads.h"

namespace keepsafe_bench {
namespace {

struct Workload {
    const char* name;
    const char* description;
    void (*run)(const Settings&, Report&);
};

constexpr std::array WORKLOADS{
    Workload{"names", "parse and print object namespaces", measureNames},
    Workload{"lock", "take and release the file lock", measureLock},
    Workload{"peers", "checks, beside a hash table, LMDB and SQLite", measurePeers},
    Workload{"lookup", "kinds of lookups under a held lock", measureLookups},
    Workload{"opening", "open a cache", measureOpening},
    Workload{"rows", "many objects at once, beside a hash table", measureRows},
    Workload{"scaling", "checks by roles, depth of the name, threads and processes", measureScaling},
    Workload{"publishing", "single checks while another process publishes", measureWhilePublishing},
    Workload{"writer-wait", "a writer's wait beside 8 threads that check", measureWriterWait},
    Workload{"change", "publish one change of a cache", measureChanges},
    Workload{"questions", "why, who, what, a cache's state, contents and differences", measureQuestions},
    Workload{"reach", "what callers reach: pages and counts", measureReach},
    Workload{"token", "verify session tokens, look their roles up", measureTokens},
    Workload{"rest", "requests to the master server", measureRequests},
    Workload{"registration", "register objects in bulk", measureRegistration},
};

struct Options {
    std::vector<std::string> names;
    Settings settings;
    bool isShort = false;
    std::string json;
};

Settings shortForm()
{
    Settings settings;
    settings.objects = {1000, 5000};
    settings.baseObjects = 2000;
    settings.questions = 2000;
    settings.calls = 20;
    settings.rounds = 1;
    settings.seconds = 0.3;
    return settings;
}

std::string listOfWorkloads()
{
    std::string text = "Workloads (all when none is named):\n";
    for (const Workload& workload : WORKLOADS) {
        std::string name = workload.name;
        name.resize(14, ' ');
        text += "  " + name + workload.description + '\n';
    }
    return text;
}

void addOptions(CLI::App& app, Options& options)
{
    const CLI::Range leaves(1000, 10000000);
    Settings& settings = options.settings;
    std::vector<std::string> known;
    for (const Workload& workload : WORKLOADS) {
        known.emplace_back(workload.name);
    }
    app.add_option("WORKLOAD", options.names, "What to run")->check(CLI::IsMember(known));
    app.add_flag("--short", options.isShort, "Run each workload just far enough to see that it works")
        ->excludes(app.add_option("--rounds", settings.rounds, "Rounds; the median counts")
                       ->check(CLI::Range(1, 1000))
                       ->capture_default_str());
    app.add_option("--objects", settings.objects, "Leaves of the caches in peers and opening, as A,B,...")
        ->delimiter(',')
        ->check(leaves)
        ->capture_default_str();
    app.add_option("--base-objects", settings.baseObjects, "Leaves of the cache in the other workloads")
        ->check(leaves)
        ->capture_default_str();
    app.add_option("--questions", settings.questions, "Different questions in a round")
        ->check(CLI::Range(1000, 10000000))
        ->capture_default_str();
    app.add_option("--calls", settings.calls, "Token and REST calls of each kind in a round")
        ->check(CLI::Range(20, 1000000))
        ->capture_default_str();
    app.add_option("--roles", settings.roles, "Roles of each caller")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_option("--callers", settings.callers,
                   "A separate checker for every question (distinct, the default), or 512 for all (shared)")
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, Callers>{{"distinct", Callers::Distinct}, {"shared", Callers::Shared}}));
    app.add_option("--seconds", settings.seconds, "Duration of each measurement that goes by time")
        ->check(CLI::Range(0.1, 3600.0))
        ->capture_default_str();
    app.add_option(
           "--service-root", settings.serviceRoot,
           "Root of a running service with the policy examples/policies/company.json, for registration")
        ->check(CLI::ExistingDirectory);
    app.add_flag("--all-processors", settings.allProcessors,
                 "Let client and server of rest run on different processors");
    app.add_option("--json", options.json, "Write the figures to this file");
    app.footer(listOfWorkloads());
}

void noteSettings(const Settings& settings, Report& report)
{
    const char* const callers = settings.callers == Callers::Distinct ? "distinct" : "shared";
    report.setting("seed", std::to_string(SEED));
    report.setting("questions", std::to_string(settings.questions));
    report.setting("calls", std::to_string(settings.calls));
    report.setting("roles", std::to_string(settings.roles));
    report.setting("callers", callers);
    report.setting("rounds", std::to_string(settings.rounds));
    report.setting("base objects", std::to_string(settings.baseObjects));
    std::printf("seed %llu, %zu questions, callers %s, with %u roles, median of %d rounds\n",
                static_cast<unsigned long long>(SEED), settings.questions, callers, settings.roles,
                settings.rounds);
}

void runInProcessOfItsOwn(const Workload& workload, const Settings& settings, Report& report)
{
    std::printf("\n%s: %s\n", workload.name, workload.description);
    static_cast<void>(std::fflush(stdout));
    keepsafe_test::Pipe pipe;
    keepsafe_test::Process process = keepsafe_test::Process::fork([&] {
        try {
            Report own;
            workload.run(settings, own);
            own.send(pipe.writeEnd.get());
            return std::fflush(stdout);
        } catch (const std::exception& error) {
            static_cast<void>(std::fprintf(stderr, "ksrbac_bench: %s: %s\n", workload.name, error.what()));
            return 1;
        }
    });
    pipe.writeEnd.close();
    report.receive(pipe.readEnd.get());
    require(process.wait().exitStatus == 0, "the workload ran to its end");
}

void run(const Options& options)
{
    Report report;
    const Settings settings = options.isShort ? shortForm() : options.settings;
    noteSettings(settings, report);
    for (const Workload& workload : WORKLOADS) {
        const auto& names = options.names;
        if (names.empty() || std::find(names.begin(), names.end(), workload.name) != names.end()) {
            runInProcessOfItsOwn(workload, settings, report);
        }
    }
    if (!options.json.empty()) {
        report.write(options.json);
    }
}

} // namespace
} // namespace keepsafe_bench

int main(int argc, char** argv)
{
    CLI::App app("Measures the hot paths of the library.\n"
                 "Example: ksrbac_bench peers --objects 1000,1000000 --json figures.json");
    keepsafe_bench::Options options;
    keepsafe_bench::addOptions(app, options);
    CLI11_PARSE(app, argc, argv);
    try {
        keepsafe_bench::run(options);
        return 0;
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "ksrbac_bench: %s\n", error.what()));
        return 1;
    }
}
