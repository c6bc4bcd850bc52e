#include "server/listening.h"

#include <stdexcept>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <fcntl.h>

namespace keepsafe_service {

namespace net = boost::asio;
using boost::system::error_code;
using net::ip::tcp;
using Tessara::Keepsafe::Process::Descriptor;

namespace {

constexpr int BACKLOG = 1024;

Descriptor listenAt(const tcp::endpoint& endpoint, net::io_context& io, error_code& error)
try {
    tcp::acceptor acceptor(io, endpoint.protocol());
    ::fcntl(acceptor.native_handle(), F_SETFD, FD_CLOEXEC);
    acceptor.set_option(tcp::acceptor::reuse_address(true));
    acceptor.bind(endpoint);
    acceptor.listen(BACKLOG);
    acceptor.native_non_blocking(true);
    return Descriptor(acceptor.release());
} catch (const boost::system::system_error& failure) {
    error = failure.code();
    return Descriptor();
}

} // namespace

Descriptor listenOn(const ListenAddress& address)
{
    net::io_context io;
    error_code error;
    for (const auto& entry : tcp::resolver(io).resolve(address.host, std::to_string(address.port),
                                                       tcp::resolver::passive, error)) {
        Descriptor listening = listenAt(entry.endpoint(), io, error);
        if (listening.isOpen()) {
            return listening;
        }
    }
    throw std::runtime_error("cannot listen on " + address.text() + ": " + error.message());
}

} // namespace keepsafe_service
