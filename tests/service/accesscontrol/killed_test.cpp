#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include "service/accesscontrol/AccessControlTest.h"
#include "support/Process.h"

/// A service that is killed in a stream of changes: what it has acknowledged is there when it starts again.

namespace keepsafe_test {
namespace {

class KilledService : public AccessControlTest {
protected:
    /// A service of its own in another process, which adds the objects |r<round>-0|, |r<round>-1| and so on
    /// with a grant, and writes a byte to a file after each that is acknowledged.
    Process start(int round) const
    {
        return Process::fork([this, round] {
            keepsafe_service::Database database(unsyncedSettings(private_));
            UnsyncedFileSystem fileSystem;
            AccessControl service(database, fileSystem, location_);
            const int acknowledged = ::open(file(round).c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
            for (int number = 0;; ++number) {
                const ObjectNamespace name = ns(nameOf(round, number));
                Registration registration;
                registration.ns = name;
                registration.grants = {{ROLE, Propagation::OBJECT, {VIEW}}};
                service.registerObjects({registration});
                service.updateStates({{name, READY}});
                if (::write(acknowledged, "x", 1) != 1) {
                    return 1;
                }
            }
        });
    }

    std::string file(int round) const { return root_.path("acknowledged-" + std::to_string(round)); }
    static std::string nameOf(int round, int number)
    {
        return "|r" + std::to_string(round) + "-" + std::to_string(number) + "|";
    }
    int acknowledged(int round) const
    {
        std::error_code none;
        const auto size = std::filesystem::file_size(file(round), none);
        return none ? 0 : static_cast<int>(size);
    }
};

INSTANTIATE_TEST_SUITE_P(Databases, KilledService, allDatabases(), kindName);

TEST_P(KilledService, HasKeptWhatItAcknowledged)
{
    // The pools must not be used on both sides of a fork, nor open connections be shared.
    service_.reset();
    constexpr int ROUNDS = 4;
    for (int round = 0; round < ROUNDS; ++round) {
        Process process = start(round);
        while (acknowledged(round) < 5 * (round + 1)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        process.kill();
        EXPECT_EQ(process.wait().signal, SIGKILL);
    }

    restart();
    for (int round = 0; round < ROUNDS; ++round) {
        const int count = acknowledged(round);
        ASSERT_GE(count, 5 * (round + 1));
        for (int number = 0; number < count; ++number) {
            EXPECT_EQ(stateOf(nameOf(round, number)), "READY");
            EXPECT_EQ(definitionsOf(nameOf(round, number)), (Texts{"7 OBJECT |OPERATIONS|VIEW|"}));
        }
        EXPECT_TRUE(isAllowed(nameOf(round, count - 1), VIEW));
        EXPECT_EQ(stateOf(nameOf(round, count + 1)), "none") << "one change at a time";
    }
}

} // namespace
} // namespace keepsafe_test
