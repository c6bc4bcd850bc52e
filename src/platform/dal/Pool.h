#ifndef KEEPSAFE_SRC_PLATFORM_DAL_POOL_H
#define KEEPSAFE_SRC_PLATFORM_DAL_POOL_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "ConnectionState.h"

namespace Tessara::Dal {

/// The connections of a manager. Connecting, disconnecting and statements happen outside its lock.
class __attribute__((visibility("hidden"))) DbConnectionManager::Pool final : public ConnectionSource {
public:
    enum class Source { Settings, Configuration };

    Pool(const DbConnectionSettings& settings, Source source);

    /// A connection for the caller's exclusive use, until `giveBack`. Null, with `status` set, when there is
    /// none.
    SSRDbConnection* lend(int& status);
    void giveBack(SSRDbConnection* connection); // allocates nothing: a guard's destructor calls it
    [[nodiscard]] std::uint32_t open() const noexcept { return open_.load(std::memory_order_relaxed); }

    std::unique_ptr<Link> connect(int& status) override;
    std::uint64_t foundDead() override;

private:
    using Clock = std::chrono::steady_clock;
    struct Delete {
        void operator()(SSRDbConnection* connection) const noexcept { delete connection; }
    };
    using OwnedConnection = std::unique_ptr<SSRDbConnection, Delete>;
    struct Idle {
        OwnedConnection connection;
        Clock::time_point since;
    };

    bool currentSettings(DbConnectionSettings& settings, int& status) const;
    bool waitForSlot(std::unique_lock<std::mutex>& lock);
    OwnedConnection takeIdle();
    OwnedConnection takeExpired();
    SSRDbConnection* makeConnection(std::uint64_t age, int& status);
    void freeSlot();

    const DbConnectionSettings settings_;
    const Source source_;
    /// None in a process that must not use ODBC.
    std::optional<const Environment> environment_;
    std::atomic<std::uint32_t> open_{0};

    std::mutex mutex_;
    std::condition_variable changed_;
    /// The most recently used one is at the end and is lent first. INVARIANT: its capacity is at least
    /// `slots_`, so that giving back allocates nothing.
    std::vector<Idle> idle_;
    /// Connections that are lent, idle or being made.
    std::size_t slots_ = 0;
    /// Incremented when a connection was found dead; older ones are not lent again.
    std::uint64_t age_ = 0;
};

} // namespace Tessara::Dal

#endif
