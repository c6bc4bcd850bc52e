#ifndef KEEPSAFE_SRC_PLATFORM_DAL_CONNECTTURN_H
#define KEEPSAFE_SRC_PLATFORM_DAL_CONNECTTURN_H

#include <chrono>
#include <cstdint>

namespace Tessara::Dal {

/// Makes the threads of the process connect one after the other.
///
/// PostgreSQL's driver calls setlocale at the beginning of each connection attempt and reads the text that it
/// returns, which the same call in another thread frees. The rest of an attempt may wait for a server, so a
/// turn that has lasted for `LONGEST` no longer keeps the next thread out: an attempt waits for at most that
/// time for each one in front of it, whatever their servers do.
class ConnectTurn {
public:
    static constexpr std::chrono::milliseconds LONGEST{100};

    /// Waits for the turn.
    ConnectTurn();
    ~ConnectTurn();
    ConnectTurn(const ConnectTurn&) = delete;
    ConnectTurn& operator=(const ConnectTurn&) = delete;

private:
    std::uint64_t number_;
};

} // namespace Tessara::Dal

#endif
