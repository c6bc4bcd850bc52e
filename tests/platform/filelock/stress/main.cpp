// Stress runs of the file lock. See usage() below; ctest runs each of them for a few seconds.

#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <stdexcept>

#include <unistd.h>

#include "ForkRegistry.h"
#include "State.h"
#include "priority.h"
#include "scenarios.h"

namespace filelock_stress {

FileLock makeLock(const Options& options)
{
    FileLock::State::LockSettings settings;
    settings.gate = options.gate;
    const std::lock_guard<std::mutex> noFork(Tessara::Keepsafe::Platform::filelock::ForkRegistry::mutex());
    return FileLock::State::handle(FileLock::State::create(options.lockPath, settings),
                                   FileLock::MissingFile::IsAnError);
}

namespace {

const std::map<std::string, std::function<bool(const Options&)>> SCENARIOS = {
    {"fairness", fairness},
    {"greedy-writers", greedyWriters},
    {"stopped-reader", stoppedReader},
    {"stopped-writer", stoppedWriter},
    {"kills", kills},
    {"forks", forks},
};

constexpr int BOUND_EXCEEDED = 1;
constexpr int USAGE_ERROR = 2;

int usage()
{
    std::cerr << "usage: filelock_stress SCENARIO [--seconds N] [--processes N] [--threads N] [--writers N]\n"
                 "                       [--hold-ms N] [--gate on|off] [--seed N]\n"
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

bool parseGate(const std::string& text)
{
    if (text != "on" && text != "off") {
        throw std::invalid_argument("neither on nor off: " + text);
    }
    return text == "on";
}

void setOption(Options& options, const std::string& name, const std::string& value)
{
    const std::map<std::string, std::function<void()>> setters = {
        {"--seconds", [&] { options.duration = std::chrono::seconds(parseNumber(value)); }},
        {"--processes", [&] { options.processes = parseNumber(value); }},
        {"--threads", [&] { options.threads = parseNumber(value); }},
        {"--writers", [&] { options.writers = parseNumber(value); }},
        {"--hold-ms", [&] { options.hold = std::chrono::milliseconds(parseNumber(value)); }},
        {"--gate", [&] { options.gate = parseGate(value); }},
        {"--seed", [&] { options.seed = static_cast<unsigned>(parseNumber(value)); }},
    };
    const auto setter = setters.find(name);
    if (setter == setters.end()) {
        throw std::invalid_argument("unknown option: " + name);
    }
    setter->second();
}

/// The lock file, for the time of the run.
class LockFileOfRun {
public:
    LockFileOfRun()
    {
        const int descriptor = mkstemp(path_.data());
        if (descriptor < 0) {
            throw std::runtime_error("cannot create " + path_);
        }
        close(descriptor);
    }
    ~LockFileOfRun() { unlink(path_.c_str()); }
    LockFileOfRun(const LockFileOfRun&) = delete;
    LockFileOfRun& operator=(const LockFileOfRun&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_ = "/tmp/filelock_stress_XXXXXX";
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
    return SCENARIOS.at(argv[1])(options) ? EXIT_SUCCESS : BOUND_EXCEEDED;
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
