#include "faults/FaultRuns.h"

#include <cstdlib>
#include <iostream>
#include <limits>
#include <string_view>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "faults/ScenarioRun.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {

namespace {

bool isComplete()
{
    const char* const form = std::getenv("KEEPSAFE_TEST_FAULTS");
    return form != nullptr && std::string_view(form) == "all";
}

/// In the short form all of the first ones, then ever fewer.
unsigned numberAfter(unsigned number)
{
    constexpr unsigned all = 8;
    constexpr unsigned share = 2;
    return number + (isComplete() || number < all ? 1 : number / share);
}

std::string textOf(Result result)
{
    return result == Result::Right ? "right" : result == Result::Refused ? "refused" : "WRONG";
}

std::string contentOf(const Descriptor& file)
{
    ::lseek(file.get(), 0, SEEK_SET);
    return readAll(file);
}

/// More of them would tell nothing new.
bool hasEnoughFailures()
{
    constexpr int ENOUGH = 10;
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count() >= ENOUGH;
}

struct Counts {
    unsigned runs = 0;
    unsigned refused = 0;
    unsigned notFelt = 0;
};

/// The runs of one subject.
class Runs {
public:
    explicit Runs(const Subject& subject) : subject_(subject)
    {
        const Fault none{CallKind::Memory, std::numeric_limits<unsigned>::max(), Repeat::Once};
        const SharedReport report;
        run(none, *report);
        EXPECT_EQ(report->result, Result::Right)
            << "without a fault: " << report->exception.str() << "; " << report->lastLine.str();
        descriptors_ = report->descriptors;
    }

    /// All numbers of one kind.
    Counts all(CallKind kind, Repeat repeat)
    {
        Counts counts;
        for (unsigned number = 0;; number = numberAfter(number)) {
            const SharedReport report;
            run({kind, number, repeat}, *report);
            if (!report->happened || hasEnoughFailures()) {
                return counts;
            }
            ++counts.runs;
            ++(report->result == Result::Right ? counts.notFelt : counts.refused);
        }
    }

private:
    void run(const Fault& fault, RunReport& report)
    {
        const TempDir folder(memoryFolder());
        const Descriptor errors(::memfd_create("errors", MFD_CLOEXEC));
        const ProcessEnd end =
            Process::fork([&] { return runScenario(subject_, folder.path(), fault, errors, report); }).wait();
        SCOPED_TRACE(std::string(nameOf(fault.kind)) + " " + std::to_string(fault.number) +
                     (fault.repeat == Repeat::Once ? " once" : " and all later ones") + ": " +
                     textOf(report.result) + "; " + report.exception.str() + "; " + report.lastLine.str() +
                     "; " + contentOf(errors));
        EXPECT_EQ(end.signal, 0) << "the process died of it, or was ended after too long a time";
        EXPECT_EQ(end.exitStatus, end.signal == 0 ? 0 : -1);
        if (end.signal != 0) {
            report.happened = true;
        } else if (report.happened) {
            judge(fault, report);
        }
    }

    void judge(const Fault& fault, const RunReport& report) const
    {
        EXPECT_NE(report.result, Result::Wrong);
        const bool isTold = report.isOutOfMemory || report.lines != 0 ||
                            (!subject_.exceptionsNeedLines && !report.exception.str().empty());
        EXPECT_TRUE(report.result == Result::Right || isTold) << "nothing in the log";
        EXPECT_EQ(report.complaint.str(), "");
        EXPECT_EQ(report.again, Result::Right) << "afterwards";
        // What cannot be recognised as one's own descriptor any more may be another's by now, and is not
        // closed.
        if (fault.kind != CallKind::FileStatus) {
            EXPECT_LE(report.descriptors, descriptors_) << "left open: " << report.descriptorNames.str();
        }
    }

    const Subject& subject_;
    std::size_t descriptors_ = 0;
};

} // namespace

void expectSoundUnderFaults(const Subject& subject)
{
    Runs runs(subject);
    for (const CallKind kind : ALL_CALL_KINDS) {
        for (const Repeat repeat : {Repeat::Once, Repeat::FromThenOn}) {
            const Counts counts = runs.all(kind, repeat);
            if (counts.runs != 0) {
                std::cout << nameOf(kind) << (repeat == Repeat::Once ? ", once: " : ", from then on: ")
                          << counts.runs << " runs, " << counts.refused << " refused, " << counts.notFelt
                          << " not felt" << std::endl; // before the next fork
            }
        }
    }
}

std::string whatHoldsLock(const std::string& path)
{
    constexpr int PATIENCE_MS = 2000;
    const FileLock lock = FileLockManager::instance().getLock(path);
    try {
        const FileLockGuard guard(lock, FileLock::EXCLUSIVE, PATIENCE_MS, FileLock::DEFAULT_INTERVAL);
        return "";
    } catch (const EC_exception& failure) {
        return "the lock of " + path + " is not free: " + failure.what();
    }
}

} // namespace keepsafe_test
