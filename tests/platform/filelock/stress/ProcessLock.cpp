#include "ProcessLock.h"

#include <csignal>
#include <filesystem>
#include <mutex>
#include <stdexcept>

#include <grp.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "Child.h"
#include "ForkRegistry.h"
#include "SlotFolder.h"
#include "State.h"
#include "measures.h"

namespace filelock_stress {

using Tessara::Keepsafe::Platform::filelock::ForkRegistry;
using Tessara::Keepsafe::Platform::filelock::SlotFolder;

namespace {

std::shared_ptr<FileLock::State> makeState(const Options& options, bool slots)
{
    FileLock::State::LockSettings settings;
    settings.gate = options.gate;
    settings.slots = slots;
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    return FileLock::State::create(options.lockPath, settings);
}

/// Goes on as the system's own user without rights.
void giveUpRights()
{
    constexpr unsigned NOBODY = 65534;
    if (setgroups(0, nullptr) != 0 || setgid(NOBODY) != 0 || setuid(NOBODY) != 0) {
        throw std::runtime_error("cannot give up rights");
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL); // forgotten with the change of the user
}

} // namespace

ProcessLock::ProcessLock(const Options& options, bool slots)
    : state_(makeState(options, slots)),
      lock_(FileLock::State::handle(state_, FileLock::MissingFile::IsAnError))
{
}

ProcessLock ProcessLock::ofWriter(const Options& options) { return {options, true}; }

ProcessLock ProcessLock::ofReader(const Options& options, std::size_t number)
{
    if (options.slots == Slots::Mixed && number % 4 == 3 && geteuid() == 0) {
        giveUpRights();
        return {options, true}; // would use slots if it could
    }
    return ofBoth(options, number);
}

ProcessLock ProcessLock::ofBoth(const Options& options, std::size_t number)
{
    return {options, options.slots == Slots::On || (options.slots == Slots::Mixed && number % 2 == 0)};
}

FileLockGuard ProcessLock::share() const
{
    return {lock_, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL};
}

FileLockGuard ProcessLock::exclude(int timeoutMs) const
{
    return {lock_, FileLock::EXCLUSIVE, timeoutMs, FileLock::DEFAULT_INTERVAL};
}

bool ProcessLock::isHeldBySlot() const noexcept { return state_->isHeldBySlotOfThisThread(); }

void HoldFigures::print() const
{
    printFigure("shared holds by slots", bySlot);
    printFigure("shared holds by the kernel lock", byKernelLock);
}

bool HoldFigures::printAndCheck(const Options& options) const
{
    print();
    const bool slotsAsPromised = (bySlot > 0) == (options.slots != Slots::Off);
    return slotsAsPromised && (options.slots == Slots::On || byKernelLock > 0);
}

bool writeOnce(const Options& options)
{
    constexpr int LONG_ENOUGH_MS = 5000;
    return Child([&] {
               const ProcessLock lock = ProcessLock::ofWriter(options);
               const FileLockGuard guard = lock.exclude(LONG_ENOUGH_MS);
           })
        .endsWell();
}

bool nothingIsLeftOver(const Options& options)
{
    bool well = writeOnce(options);
    std::cout << "left over beside the lock file:";
    for (const auto& entry : std::filesystem::directory_iterator(SlotFolder::pathFor(options.lockPath))) {
        std::cout << ' ' << entry.path().filename().string();
        well = entry.path().filename() == SlotFolder::CONTROL && well;
    }
    std::cout << (well ? "" : ": NOT THE CONTROL PAGE ALONE") << std::endl;
    return well;
}

} // namespace filelock_stress
