#include "server/HttpsListener.h"

#include <utility>

#include "server/listening.h"

namespace keepsafe_service {

namespace {

Entrance httpsEntrance(const ListenAddress& address, const ServerTlsFiles& files)
{
    Entrance entrance;
    entrance.tls.emplace(boost::asio::ssl::context::tls_server);
    setUpTls(*entrance.tls, files);
    entrance.socket = listenOn(address);
    entrance.address = address.text();
    return entrance;
}

} // namespace

HttpsListener::HttpsListener(const ListenAddress& address, const ServerTlsFiles& files,
                             RequestAnswerer answerer, const ServerLimits& limits)
    : HttpServer(httpsEntrance(address, files), std::move(answerer), limits)
{
}

} // namespace keepsafe_service
