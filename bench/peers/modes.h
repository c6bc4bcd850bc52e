#ifndef KEEPSAFE_BENCH_PEERS_MODES_H
#define KEEPSAFE_BENCH_PEERS_MODES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "peers/Questions.h"
#include "peers/Report.h"

namespace keepsafe_bench {

struct Settings {
    std::vector<std::uint64_t> objects{1000, 100000, 1000000}; ///< leaves of the caches that are compared on
    std::uint64_t baseObjects = 100000;                        ///< leaves where something else is varied
    std::size_t questions = 200000;
    unsigned roles = 8;
    Callers callers = Callers::Distinct;
    int rounds = 9;
    double seconds = 10; ///< of each measurement that goes by time
};

/// Each prints what it finds and adds it to the report.

/// All contenders on caches of all sizes; what a check costs besides time; threads and processes; opening.
/// Throws `std::runtime_error` when two contenders answer a question differently.
void compareContenders(const Settings& settings, Report& report);
/// A check and the lookup alone by the caller's roles and the depth of the name; checks by threads and
/// processes.
void measureScaling(const Settings& settings, Report& report);
/// How long single checks take while another process publishes 100 changes a second.
void measureWhilePublishing(const Settings& settings, Report& report);
/// How long a writer in another process waits for the lock while 8 threads check in tight loops.
void measureWriterWait(const Settings& settings, Report& report);

} // namespace keepsafe_bench

#endif
