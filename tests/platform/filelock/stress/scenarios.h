#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_SCENARIOS_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_SCENARIOS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace filelock_stress {

/// Which readers use slots. Mixed: every other reader process; of the rest, when the run is root's, every
/// other one is of a user who may read the lock file and not create files beside it.
enum class Slots { On, Off, Mixed };

struct Options {
    std::chrono::seconds duration{10};
    int processes = 4;
    int threads = 2;
    int writers = 1;
    std::chrono::milliseconds hold{5};
    bool gate = true;
    Slots slots = Slots::On;
    std::int64_t killReaders = 0; ///< with `killWriters`: the run ends when both are reached; 0: no such end
    std::int64_t killWriters = 0;
    unsigned seed = 1;
    std::string lockPath; ///< an empty file, alone in a folder of this run's own
};

/// Each prints its figures and returns whether they keep to the bounds that it prints beside them.
bool fairness(const Options& options);
bool greedyWriters(const Options& options);
bool stoppedReader(const Options& options);
bool stoppedWriter(const Options& options);
bool kills(const Options& options);
bool forks(const Options& options);
bool folder(const Options& options);
bool crowd(const Options& options);
bool threads(const Options& options);

} // namespace filelock_stress

#endif
