#ifndef KEEPSAFE_SERVICE_SERVER_OPENCONNECTIONS_H
#define KEEPSAFE_SERVICE_SERVER_OPENCONNECTIONS_H

#include <set>

#include "server/Connection.h"

namespace keepsafe_service {

/// The connections of a server that are open, and which of them make room when there are too many. A
/// stranger, whose handshake is not over, makes room for other strangers alone: who has no certificate drives
/// out nobody who has one.
class OpenConnections {
public:
    explicit OpenConnections(const ServerLimits& limits) : limits_(limits) {}

    void add(Connection& connection) { open_.insert(&connection); }
    void remove(Connection& connection) { open_.erase(&connection); }
    [[nodiscard]] bool isEmpty() const noexcept { return open_.empty(); }

    /// Whether one more may be accepted, if need be in the place of a stranger.
    bool makeRoomForStranger();
    /// Before a stranger becomes a client. When all clients are busy, they are one more for a while.
    void makeRoomForClient();

    void closeThoseThatWait();
    [[nodiscard]] bool isAnyAnswering() const;

private:
    [[nodiscard]] std::size_t count(bool ofStrangers) const;
    /// An idle one, or else the one that has been in its phase for longest. Null when all are busy.
    [[nodiscard]] Connection* mostDispensable(bool ofStrangers) const;
    [[nodiscard]] bool isDispensable(const Connection& connection) const;

    const ServerLimits& limits_;
    std::set<Connection*> open_;
};

} // namespace keepsafe_service

#endif
