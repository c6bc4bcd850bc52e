#include "faults/ScenarioRun.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include <keepsafe/platform/log/log_sink.h>

#include "support/Process.h"

namespace keepsafe_test {

namespace {

namespace Platform = Tessara::Keepsafe::Platform;

/// After some failed allocations libcurl asks for data for ever and does not read it. Such a transfer ends by
/// the stall timeout, which is 30 s by default. The work and the work after it can meet it once each.
constexpr unsigned SECONDS_FOR_A_RUN = 90;

/// Counts lines and needs no memory for it.
class LineCounter : public Platform::LogSink {
public:
    LineCounter(RunReport& report, int level) : report_(report), level_(level) {}
    void write(const Platform::LogRecord& record) noexcept override
    {
        if (record.level >= level_) {
            ++report_.lines;
            report_.lastLine.assign(record.text);
        }
    }

private:
    RunReport& report_;
    int level_;
};

/// What the open descriptors refer to. Without the lock's file: a reader opens it when it cannot use its
/// slot, and keeps it.
std::vector<std::string> openDescriptors()
{
    std::vector<std::string> result;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored; // the descriptor that lists them
        const std::filesystem::path target = std::filesystem::read_symlink(entry, ignored);
        if (target.filename() != "manifest.json") {
            result.push_back(target.string());
        }
    }
    return result;
}

void reportDescriptors(RunReport& report)
{
    const std::vector<std::string> open = openDescriptors();
    std::string names;
    for (const std::string& name : open) {
        names += name + ' ';
    }
    report.descriptors = open.size();
    report.descriptorNames.assign(names);
}

Result workUnder(const Fault& fault, Scenario& scenario, RunReport& report)
{
    armFault(fault.kind, fault.number, fault.repeat);
    try {
        const Result result = scenario.work();
        disarmFault();
        return result;
    } catch (const std::bad_alloc&) {
        disarmFault();
        report.isOutOfMemory = true;
    } catch (const std::exception& error) {
        disarmFault();
        report.exception.assign(error.what());
    }
    return Result::Refused;
}

/// In a child of its own, which has none of this process's locks.
void inspect(const Subject& subject, const std::string& folder, RunReport& report)
{
    const ProcessEnd end = Process::fork([&] {
                               alarm(SECONDS_FOR_A_RUN);
                               report.complaint.assign(subject.inspect(folder, report.result));
                               return 0;
                           }).wait();
    if (end.exitStatus != 0) {
        report.complaint.assign("the inspection ended with status " + std::to_string(end.exitStatus) +
                                ", signal " + std::to_string(end.signal));
    }
}

} // namespace

void SharedText::assign(std::string_view text) noexcept
{
    const std::size_t size = std::min(text.size(), bytes_.size() - 1);
    std::memcpy(bytes_.data(), text.data(), size);
    bytes_[size] = '\0';
}

SharedReport::SharedReport()
{
    void* const memory =
        ::mmap(nullptr, sizeof(RunReport), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    report_ = new (memory) RunReport();
}

SharedReport::~SharedReport() { ::munmap(report_, sizeof(RunReport)); }

int runScenario(const Subject& subject, const std::string& folder, const Fault& fault,
                const Descriptor& errors, RunReport& report)
{
    alarm(SECONDS_FOR_A_RUN);
    ::dup2(errors.get(), STDERR_FILENO);
    std::unique_ptr<Scenario> scenario = subject.make(folder);
    Platform::setLogSink(std::make_shared<LineCounter>(report, subject.logLevel));
    Platform::setLogThreshold(subject.logLevel);
    const off_t before = ::lseek(errors.get(), 0, SEEK_END);
    report.lines = 0;
    report.result = workUnder(fault, *scenario, report);
    report.happened = faultHappened();
    report.lines += ::lseek(errors.get(), 0, SEEK_END) > before ? 1U : 0U;
    inspect(subject, folder, report);
    report.again = scenario->workAgain();
    scenario.reset();
    reportDescriptors(report);
    return 0;
}

} // namespace keepsafe_test
