#ifndef KEEPSAFE_BENCH_WORKLOADS_H
#define KEEPSAFE_BENCH_WORKLOADS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Report.h"
#include "questions/Questions.h"

namespace keepsafe_bench {

struct Settings {
    std::vector<std::uint64_t> objects{1000, 100000, 1000000}; ///< leaves of the caches that are compared on
    std::uint64_t baseObjects = 100000;                        ///< leaves where something else is varied
    std::size_t questions = 200000;
    std::size_t calls = 2000; ///< of a token or REST function in a round
    unsigned roles = 8;
    Callers callers = Callers::Distinct;
    int rounds = 9;
    double seconds = 10;     ///< of each measurement that goes by time
    std::string serviceRoot; ///< of a service that runs, or empty
    bool allProcessors = false;
};

/// Each prints its figures and adds them to the report. Each runs in its own process, so that none is
/// affected by the heap, threads or locks of another.

/// Parsing and printing of names, beside a hand-written equivalent.
void measureNames(const Settings& settings, Report& report);
/// The file lock, beside the system calls that it cannot avoid.
void measureLock(const Settings& settings, Report& report);
/// All contenders on caches of all sizes; what a check costs besides time; threads and processes; opening.
/// Throws `std::runtime_error` when two contenders answer a question differently.
void measurePeers(const Settings& settings, Report& report);
/// Many objects at once, beside the hash table of `measurePeers`. Throws `std::runtime_error` when they
/// answer a question differently.
void measureRows(const Settings& settings, Report& report);
/// Kinds of lookups, beside the same walk without bounds checks.
void measureLookups(const Settings& settings, Report& report);
/// Opening a cache: time, and what of it is resident.
void measureOpening(const Settings& settings, Report& report);
/// A check and the lookup alone by the caller's roles and the depth of the name; checks by threads and
/// processes.
void measureScaling(const Settings& settings, Report& report);
/// How long single checks take while another process publishes 100 changes a second.
void measureWhilePublishing(const Settings& settings, Report& report);
/// How long a writer in another process waits for the lock while 8 threads check in tight loops.
void measureWriterWait(const Settings& settings, Report& report);
/// Publishing one change, beside the same writes by bare system calls.
void measureChanges(const Settings& settings, Report& report);
/// Why, who, what, several operations, beside checks; a cache's state, contents and differences.
void measureQuestions(const Settings& settings, Report& report);
/// Pages, counts and all names of what a caller can reach.
void measureReach(const Settings& settings, Report& report);
/// Verification of session tokens and role lookup, beside bare OpenSSL and ODBC.
void measureTokens(const Settings& settings, Report& report);
/// Requests to the master server, beside bare libcurl; creating a client.
void measureRequests(const Settings& settings, Report& report);
/// The library's share of a bulk registration.
void measureRegistration(const Settings& settings, Report& report);

} // namespace keepsafe_bench

#endif
