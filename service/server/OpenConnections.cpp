#include "server/OpenConnections.h"

#include <algorithm>
#include <tuple>

namespace keepsafe_service {

using Phase = Connection::Phase;

namespace {

bool isStranger(const Connection& connection) { return connection.phase() == Phase::Handshake; }

} // namespace

bool OpenConnections::makeRoomForStranger()
{
    if (count(true) >= limits_.strangers) {
        Connection* const leaving = mostDispensable(true);
        if (leaving == nullptr) {
            return false;
        }
        leaving->close();
    }
    return count(false) < limits_.connections || mostDispensable(false) != nullptr;
}

void OpenConnections::makeRoomForClient()
{
    Connection* const leaving = count(false) < limits_.connections ? nullptr : mostDispensable(false);
    if (leaving != nullptr) {
        leaving->close();
    }
}

void OpenConnections::closeThoseThatWait()
{
    const std::set<Connection*> open = open_;
    for (Connection* const connection : open) {
        if (connection->phase() != Phase::Answering && connection->phase() != Phase::Sending) {
            connection->close();
        }
    }
}

bool OpenConnections::isAnyAnswering() const
{
    return std::any_of(open_.begin(), open_.end(),
                       [](const Connection* each) { return each->phase() == Phase::Answering; });
}

std::size_t OpenConnections::count(bool ofStrangers) const
{
    const auto isOne = [ofStrangers](const Connection* each) { return isStranger(*each) == ofStrangers; };
    return static_cast<std::size_t>(std::count_if(open_.begin(), open_.end(), isOne));
}

Connection* OpenConnections::mostDispensable(bool ofStrangers) const
{
    const auto order = [](const Connection& connection) {
        return std::make_tuple(connection.phase() != Phase::Idle, connection.since());
    };
    Connection* found = nullptr;
    for (Connection* const each : open_) {
        if (isStranger(*each) == ofStrangers && isDispensable(*each) &&
            (found == nullptr || order(*each) < order(*found))) {
            found = each;
        }
    }
    return found;
}

bool OpenConnections::isDispensable(const Connection& connection) const
{
    return connection.phase() == Phase::Idle ||
           (connection.phase() != Phase::Answering &&
            Connection::Clock::now() - connection.since() >= limits_.grace);
}

} // namespace keepsafe_service
