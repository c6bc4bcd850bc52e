// The same access questions for this library, for databases that could take its place and for a hash table,
// in one run. Prints tables; `--json` writes all figures to a file, from which scripts/plot draws. Figures of
// one run belong together. `peers_bench --help` lists the options.

#include <cstdio>
#include <exception>
#include <map>
#include <string>

#include <CLI/CLI.hpp>

#include "peers/modes.h"

namespace keepsafe_bench {
namespace {

struct Options {
    Settings settings;
    bool compare = false;
    bool scaling = false;
    bool whilePublishing = false;
    bool writerWait = false;
    std::string json;
};

void addOptions(CLI::App& app, Options& options)
{
    const CLI::Range leaves(1000, 10000000);
    Settings& settings = options.settings;
    app.add_flag("--compare", options.compare,
                 "All contenders by number of objects (without another mode too)");
    app.add_flag("--scaling", options.scaling, "By roles of the caller, depth of the name, and threads");
    app.add_flag("--while-publishing", options.whilePublishing,
                 "Single checks while another process publishes 100 changes a second");
    app.add_flag("--writer-wait", options.writerWait, "A writer's wait beside 8 threads that check");
    app.add_option("--objects", settings.objects, "Leaves of the caches to compare on, as A,B,...")
        ->delimiter(',')
        ->check(leaves)
        ->capture_default_str();
    app.add_option("--base-objects", settings.baseObjects, "Leaves of the cache in the other modes")
        ->check(leaves)
        ->capture_default_str();
    app.add_option("--questions", settings.questions, "Different questions in a round")
        ->check(CLI::Range(1000, 10000000))
        ->capture_default_str();
    app.add_option("--roles", settings.roles, "Roles of each caller")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_option("--callers", settings.callers,
                   "A checker of its own for every question (distinct, the default), or 512 for all (shared)")
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, Callers>{{"distinct", Callers::Distinct}, {"shared", Callers::Shared}}));
    app.add_option("--rounds", settings.rounds, "Rounds; the median counts")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_option("--seconds", settings.seconds, "Of each measurement that goes by time")
        ->check(CLI::Range(0.1, 3600.0))
        ->capture_default_str();
    app.add_option("--json", options.json, "Write the figures to this file");
}

void noteSettings(const Settings& settings, Report& report)
{
    report.setting("seed", std::to_string(SEED));
    report.setting("questions", std::to_string(settings.questions));
    report.setting("roles", std::to_string(settings.roles));
    report.setting("callers", settings.callers == Callers::Distinct ? "distinct" : "shared");
    report.setting("rounds", std::to_string(settings.rounds));
    report.setting("base objects", std::to_string(settings.baseObjects));
    std::printf("seed %llu, %zu questions, callers %s, with %u roles, median of %d rounds\n",
                static_cast<unsigned long long>(SEED), settings.questions,
                settings.callers == Callers::Distinct ? "distinct" : "shared", settings.roles,
                settings.rounds);
}

void run(const Options& options)
{
    Report report;
    noteSettings(options.settings, report);
    const bool isOther = options.scaling || options.whilePublishing || options.writerWait;
    if (options.compare || !isOther) {
        compareContenders(options.settings, report);
    }
    if (options.scaling) {
        measureScaling(options.settings, report);
    }
    if (options.whilePublishing) {
        measureWhilePublishing(options.settings, report);
    }
    if (options.writerWait) {
        measureWriterWait(options.settings, report);
    }
    if (!options.json.empty()) {
        report.write(options.json);
    }
}

} // namespace
} // namespace keepsafe_bench

int main(int argc, char** argv)
{
    CLI::App app("Asks several contenders the same access questions.\n"
                 "Example: peers_bench --objects 1000,1000000 --rounds 5");
    keepsafe_bench::Options options;
    keepsafe_bench::addOptions(app, options);
    CLI11_PARSE(app, argc, argv);
    try {
        keepsafe_bench::run(options);
        return 0;
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "peers_bench: %s\n", error.what()));
        return 1;
    }
}
