#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_SCENARIOS_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_SCENARIOS_H

#include <chrono>
#include <string>

#include <keepsafe/platform/filelock/FileLock.h>

namespace filelock_stress {

struct Options {
    std::chrono::seconds duration{10};
    int processes = 4;
    int threads = 2;
    int writers = 1;
    std::chrono::milliseconds hold{5};
    bool gate = true;
    unsigned seed = 1;
    std::string lockPath; ///< an empty file of this run's own
};

/// Each prints its figures and returns whether they keep to the bounds that it prints beside them.
bool fairness(const Options& options);
bool greedyWriters(const Options& options);
bool stoppedReader(const Options& options);
bool stoppedWriter(const Options& options);
bool kills(const Options& options);
bool forks(const Options& options);

/// The lock that a scenario works on, with the gate or without.
FileLock makeLock(const Options& options);

} // namespace filelock_stress

#endif
