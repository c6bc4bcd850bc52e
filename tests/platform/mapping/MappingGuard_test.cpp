#include <keepsafe/platform/mapping/MappingGuard.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "support/Descriptor.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Platform::MappingGuard;

constexpr std::size_t PAGE = 4096;

/// A file of two pages that is mapped and then cut to nothing.
class CutFile {
public:
    CutFile() : file_(openFile(directory_.path("file"), O_RDWR | O_CREAT))
    {
        EXPECT_EQ(ftruncate(file_.get(), 2 * PAGE), 0);
        memory_ = mmap(nullptr, 2 * PAGE, PROT_READ | PROT_WRITE, MAP_SHARED, file_.get(), 0);
    }
    ~CutFile() { munmap(memory_, 2 * PAGE); }
    CutFile(const CutFile&) = delete;
    CutFile& operator=(const CutFile&) = delete;

    [[nodiscard]] volatile char* bytes() const { return static_cast<char*>(memory_); }
    [[nodiscard]] void* memory() const { return memory_; }
    void cut() const { EXPECT_EQ(ftruncate(file_.get(), 0), 0); }

private:
    const TempDir directory_;
    const Descriptor file_;
    void* memory_;
};

/// Each in its own process, which may die.
ProcessEnd inAnotherProcess(const std::function<bool()>& statement)
{
    return Process::fork([&] { return statement() ? 0 : 1; }).wait();
}

TEST(MappingGuardTest, CutFileReadsAsZerosAndEachMissingPageIsReported)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile file;
        std::atomic<int> missing{0};
        MappingGuard guard;
        guard.guard(
            file.memory(), 2 * PAGE, [](void* count) noexcept { ++*static_cast<std::atomic<int>*>(count); },
            &missing);
        file.bytes()[5] = 'x';
        const bool noneBefore = missing == 0;
        file.cut();
        const bool zeros = file.bytes()[5] == 0 && missing == 1;
        file.bytes()[PAGE + 5] = 'y';
        return noneBefore && zeros && missing == 2 && file.bytes()[PAGE + 5] == 'y';
    });
    EXPECT_EQ(end.exitStatus, 0);
    EXPECT_EQ(end.signal, 0);
}

TEST(MappingGuardTest, HandlerThatTheHostHasTakenAwayStaysAway)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile file;
        MappingGuard guard;
        guard.guard(file.memory(), 2 * PAGE, nullptr, nullptr);
        const bool wasThere = std::signal(SIGBUS, SIG_DFL) != SIG_DFL;
        MappingGuard another;
        another.guard(file.memory(), 2 * PAGE, nullptr, nullptr);
        return wasThere && std::signal(SIGBUS, SIG_DFL) == SIG_DFL;
    });
    EXPECT_EQ(end.exitStatus, 0);
    EXPECT_EQ(end.signal, 0);
}

TEST(MappingGuardTest, HandlerRunsOnTheAlternateStackAndRestartsCalls)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile file;
        MappingGuard guard;
        guard.guard(file.memory(), 2 * PAGE, nullptr, nullptr);
        struct sigaction ours {};
        constexpr int WANTED = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
        return sigaction(SIGBUS, nullptr, &ours) == 0 && (ours.sa_flags & WANTED) == WANTED;
    });
    EXPECT_EQ(end.exitStatus, 0);
}

TEST(MappingGuardTest, BusErrorRightBehindAGuardedRangeEndsTheProcess)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile file;
        MappingGuard guard;
        guard.guard(file.memory(), PAGE, nullptr, nullptr);
        file.cut();
        return file.bytes()[0] == 0 && file.bytes()[PAGE] == 0;
    });
    EXPECT_EQ(end.signal, SIGBUS);
}

TEST(MappingGuardTest, BusErrorElsewhereEndsTheProcessAsEver)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile guarded;
        const CutFile other;
        MappingGuard guard;
        guard.guard(guarded.memory(), 2 * PAGE, nullptr, nullptr);
        other.cut();
        return other.bytes()[0] == 0;
    });
    EXPECT_EQ(end.signal, SIGBUS);
}

TEST(MappingGuardTest, BusErrorInAMappingThatIsNotGuardedAnyMoreEndsTheProcess)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile file;
        MappingGuard guard;
        guard.guard(file.memory(), 2 * PAGE, nullptr, nullptr);
        guard.forget();
        file.cut();
        return file.bytes()[0] == 0;
    });
    EXPECT_EQ(end.signal, SIGBUS);
}

TEST(MappingGuardTest, SignalThatSomebodySendsEndsTheProcessAsEver)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile file;
        MappingGuard guard;
        guard.guard(file.memory(), 2 * PAGE, nullptr, nullptr);
        kill(getpid(), SIGBUS);
        return true;
    });
    EXPECT_EQ(end.signal, SIGBUS);
}

constexpr int HOSTS_OWN = 77;

/// The end of a process that sets its own handler, guards a mapping and reads it when its file has been cut.
ProcessEnd endWithHandler(void (*setHandler)())
{
    return inAnotherProcess([setHandler] {
        setHandler();
        const CutFile file;
        MappingGuard guard;
        guard.guard(file.memory(), 2 * PAGE, nullptr, nullptr);
        file.cut();
        return file.bytes()[0] == 0;
    });
}

TEST(MappingGuardTest, HandlerOfTheHostProgramStays)
{
    const ProcessEnd end = endWithHandler([] { signal(SIGBUS, [](int /*number*/) { _exit(HOSTS_OWN); }); });
    EXPECT_EQ(end.exitStatus, HOSTS_OWN);
}

TEST(MappingGuardTest, HandlerOfTheHostProgramThatTakesInformationStays)
{
    const ProcessEnd end = endWithHandler([] {
        struct sigaction hosts {};
        hosts.sa_sigaction = [](int /*number*/, siginfo_t* /*info*/, void* /*context*/) { _exit(HOSTS_OWN); };
        hosts.sa_flags = SA_SIGINFO;
        sigaction(SIGBUS, &hosts, nullptr);
    });
    EXPECT_EQ(end.exitStatus, HOSTS_OWN);
}

/// With as many other mappings guarded as a process can guard, `givenUp` of them not any more.
ProcessEnd readOfOneMoreMapping(std::size_t givenUp)
{
    return inAnotherProcess([givenUp] {
        const CutFile many;
        std::vector<MappingGuard> guards(4096);
        for (MappingGuard& guard : guards) {
            guard.guard(many.memory(), 2 * PAGE, nullptr, nullptr);
        }
        for (std::size_t i = 0; i < givenUp; ++i) {
            guards[guards.size() / 2 + i].forget();
        }
        const CutFile file;
        MappingGuard last;
        last.guard(file.memory(), 2 * PAGE, nullptr, nullptr);
        file.cut();
        return file.bytes()[0] == 0;
    });
}

TEST(MappingGuardTest, MappingBeyondTheLastPlaceIsNotGuarded)
{
    EXPECT_EQ(readOfOneMoreMapping(0).signal, SIGBUS);
    EXPECT_EQ(readOfOneMoreMapping(1).exitStatus, 0);
}

TEST(MappingGuardTest, PlacesAreUsedAgain)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile file;
        for (int i = 0; i < 10000; ++i) {
            MappingGuard guard;
            guard.guard(file.memory(), 2 * PAGE, nullptr, nullptr);
        }
        MappingGuard last;
        last.guard(file.memory(), 2 * PAGE, nullptr, nullptr);
        file.cut();
        return file.bytes()[0] == 0;
    });
    EXPECT_EQ(end.exitStatus, 0);
}

} // namespace
} // namespace keepsafe_test
