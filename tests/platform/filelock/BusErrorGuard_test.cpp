#include "BusErrorGuard.h"

#include <csignal>
#include <functional>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "support/Descriptor.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

using keepsafe_test::Process;
using keepsafe_test::ProcessEnd;

constexpr std::size_t PAGE = 4096;

/// A file of two pages that is mapped and then cut to nothing.
class CutFile {
public:
    CutFile() : file_(keepsafe_test::openFile(directory_.path("file"), O_RDWR | O_CREAT))
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
    const keepsafe_test::TempDir directory_;
    const keepsafe_test::Descriptor file_;
    void* memory_;
};

/// Each in a process of its own, which may die.
ProcessEnd inAnotherProcess(const std::function<bool()>& statement)
{
    return Process::fork([&] { return statement() ? 0 : 1; }).wait();
}

TEST(BusErrorGuardTest, CutFileReadsAsZerosAndMakesTheEpochAnotherOddNumber)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile file;
        std::atomic<std::uint64_t> epoch{6};
        BusErrorGuard guard;
        guard.guard(file.memory(), 2 * PAGE, &epoch);
        file.bytes()[5] = 'x';
        const bool evenBefore = epoch == 6;
        file.cut();
        const bool zeros = file.bytes()[5] == 0;
        file.bytes()[PAGE + 5] = 'y';
        return evenBefore && zeros && epoch == 9 && file.bytes()[PAGE + 5] == 'y';
    });
    EXPECT_EQ(end.exitStatus, 0);
    EXPECT_EQ(end.signal, 0);
}

TEST(BusErrorGuardTest, BusErrorElsewhereEndsTheProcessAsEver)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile guarded;
        const CutFile other;
        BusErrorGuard guard;
        guard.guard(guarded.memory(), 2 * PAGE, nullptr);
        other.cut();
        return other.bytes()[0] == 0;
    });
    EXPECT_EQ(end.signal, SIGBUS);
}

TEST(BusErrorGuardTest, BusErrorInAMappingThatIsNotGuardedAnyMoreEndsTheProcess)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile file;
        BusErrorGuard guard;
        guard.guard(file.memory(), 2 * PAGE, nullptr);
        guard.forget();
        file.cut();
        return file.bytes()[0] == 0;
    });
    EXPECT_EQ(end.signal, SIGBUS);
}

TEST(BusErrorGuardTest, SignalThatSomebodySendsEndsTheProcessAsEver)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile file;
        BusErrorGuard guard;
        guard.guard(file.memory(), 2 * PAGE, nullptr);
        kill(getpid(), SIGBUS);
        return true;
    });
    EXPECT_EQ(end.signal, SIGBUS);
}

constexpr int HOSTS_OWN = 77;

TEST(BusErrorGuardTest, HandlerOfTheHostProgramStays)
{
    const ProcessEnd end = inAnotherProcess([] {
        signal(SIGBUS, [](int /*number*/) { _exit(HOSTS_OWN); });
        const CutFile file;
        BusErrorGuard guard;
        guard.guard(file.memory(), 2 * PAGE, nullptr);
        file.cut();
        return file.bytes()[0] == 0;
    });
    EXPECT_EQ(end.exitStatus, HOSTS_OWN);
}

TEST(BusErrorGuardTest, PlacesAreUsedAgain)
{
    const ProcessEnd end = inAnotherProcess([] {
        const CutFile file;
        for (int i = 0; i < 10000; ++i) {
            BusErrorGuard guard;
            guard.guard(file.memory(), 2 * PAGE, nullptr);
        }
        BusErrorGuard last;
        last.guard(file.memory(), 2 * PAGE, nullptr);
        file.cut();
        return file.bytes()[0] == 0;
    });
    EXPECT_EQ(end.exitStatus, 0);
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
