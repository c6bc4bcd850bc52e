// Stress runs of the file lock. See usage() below; ctest runs each of them for a few seconds.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "ProcessLock.h"
#include "priority.h"
#include "scenarios.h"

namespace filelock_stress {

namespace {

const std::map<std::string, std::function<bool(const Options&)>> SCENARIOS = {
    {"fairness", fairness},
    {"greedy-writers", greedyWriters},
    {"stopped-reader", stoppedReader},
    {"stopped-writer", stoppedWriter},
    {"kills", kills},
    {"forks", forks},
    {"folder", folder},
    {"crowd", crowd},
    {"threads", threads},
};

constexpr int BOUND_EXCEEDED = 1;
constexpr int USAGE_ERROR = 2;

int usage()
{
    std::cerr << "usage: filelock_stress SCENARIO [--seconds N] [--processes N] [--threads N] [--writers N]\n"
                 "                       [--hold-ms N] [--gate on|off] [--slots on|off|mixed] [--seed N]\n"
                 "                       [--kill-readers N] [--kill-writers N]\n"
                 "scenarios:";
    for (const auto& [name, scenario] : SCENARIOS) {
        std::cerr << ' ' << name;
    }
    std::cerr
        << "\nexit status: 0 all figures within their bounds, 1 not, 2 usage, 3 the run itself failed\n";
    return USAGE_ERROR;
}

int parseNumber(const std::string& text)
{
    std::size_t used = 0;
    const int number = std::stoi(text, &used);
    if (used != text.size() || number < 0) {
        throw std::invalid_argument("not a number: " + text);
    }
    return number;
}

template <typename Value>
Value parseWord(const std::string& text, const std::map<std::string, Value>& words)
{
    const auto word = words.find(text);
    if (word == words.end()) {
        throw std::invalid_argument("unknown value: " + text);
    }
    return word->second;
}

void setOption(Options& options, const std::string& name, const std::string& value)
{
    const std::map<std::string, std::function<void()>> setters = {
        {"--seconds", [&] { options.duration = std::chrono::seconds(parseNumber(value)); }},
        {"--processes", [&] { options.processes = parseNumber(value); }},
        {"--threads", [&] { options.threads = parseNumber(value); }},
        {"--writers", [&] { options.writers = parseNumber(value); }},
        {"--hold-ms", [&] { options.hold = std::chrono::milliseconds(parseNumber(value)); }},
        {"--gate",
         [&] {
             options.gate = parseWord<bool>(value, {{"on", true}, {"off", false}});
         }},
        {"--slots",
         [&] {
             options.slots =
                 parseWord<Slots>(value, {{"on", Slots::On}, {"off", Slots::Off}, {"mixed", Slots::Mixed}});
         }},
        {"--kill-readers", [&] { options.killReaders = parseNumber(value); }},
        {"--kill-writers", [&] { options.killWriters = parseNumber(value); }},
        {"--seed", [&] { options.seed = static_cast<unsigned>(parseNumber(value)); }},
    };
    const auto setter = setters.find(name);
    if (setter == setters.end()) {
        throw std::invalid_argument("unknown option: " + name);
    }
    setter->second();
}

/// The lock file in its own folder, for the time of the run. Other users may read it and make nothing.
class LockFileOfRun {
public:
    LockFileOfRun()
    {
        if (mkdtemp(folder_.data()) == nullptr || chmod(folder_.c_str(), 0755) != 0) {
            throw std::runtime_error("cannot create " + folder_);
        }
        std::ofstream(path()).close();
        chmod(path().c_str(), 0644);
    }
    ~LockFileOfRun()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    LockFileOfRun(const LockFileOfRun&) = delete;
    LockFileOfRun& operator=(const LockFileOfRun&) = delete;

    [[nodiscard]] std::string path() const { return folder_ + "/lock"; }

private:
    std::string folder_ = "/tmp/filelock_stress_XXXXXX";
};

} // namespace

int run(int argc, char** argv)
{
    if (argc < 2 || argc % 2 != 0 || SCENARIOS.count(argv[1]) == 0) {
        return usage();
    }
    Options options;
    try {
        for (int i = 2; i < argc; i += 2) {
            setOption(options, argv[i], argv[i + 1]);
        }
    } catch (const std::logic_error& error) {
        std::cerr << error.what() << '\n';
        return usage();
    }
    comeBeforeOtherWork();
    const LockFileOfRun lockFile;
    options.lockPath = lockFile.path();
    const bool well = writeOnce(options) && SCENARIOS.at(argv[1])(options);
    return well ? EXIT_SUCCESS : BOUND_EXCEEDED;
}

} // namespace filelock_stress

int main(int argc, char** argv)
{
    try {
        return filelock_stress::run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "filelock_stress: " << error.what() << '\n';
        return 3;
    }
}
