#ifndef KEEPSAFE_TESTS_FAULTS_SCENARIORUN_H
#define KEEPSAFE_TESTS_FAULTS_SCENARIORUN_H

#include <array>
#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

#include "faults/FaultRuns.h"
#include "faults/interposer/faults.h"
#include "support/Descriptor.h"

namespace keepsafe_test {

struct Fault {
    CallKind kind;
    unsigned number;
    Repeat repeat;
};

/// A text in shared memory.
class SharedText {
public:
    void assign(std::string_view text) noexcept;
    [[nodiscard]] std::string str() const { return bytes_.data(); }

private:
    std::array<char, 512> bytes_{};
};

/// What the process of a run tells, in memory that it shares with the test.
struct RunReport {
    bool happened = false;      ///< there was such a call
    bool isOutOfMemory = false; ///< the work threw std::bad_alloc, which needs no line in the log
    Result result = Result::Wrong;
    Result again = Result::Wrong;
    std::size_t descriptors = 0; ///< open at the end
    SharedText descriptorNames;
    std::atomic<unsigned> lines{0}; ///< in the log or on standard error
    SharedText lastLine;
    SharedText exception;
    SharedText complaint; ///< of `Subject::inspect`
};

/// Owns a report in shared memory.
class SharedReport {
public:
    SharedReport();
    ~SharedReport();
    SharedReport(const SharedReport&) = delete;
    SharedReport& operator=(const SharedReport&) = delete;

    RunReport& operator*() const noexcept { return *report_; }
    RunReport* operator->() const noexcept { return report_; }

private:
    RunReport* report_;
};

/// The run itself, for the process that it has for itself; returns the process's exit status. Standard error
/// goes to `errors`.
int runScenario(const Subject& subject, const std::string& folder, const Fault& fault,
                const Descriptor& errors, RunReport& report);

} // namespace keepsafe_test

#endif
