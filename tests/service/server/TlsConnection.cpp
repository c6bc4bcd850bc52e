#include "service/server/TlsConnection.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <openssl/err.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace keepsafe_test {

namespace {

constexpr char HEADERS_END[] = "\r\n\r\n";

void require(bool done, const char* what)
{
    if (!done) {
        throw std::runtime_error(std::string("TLS client: ") + what);
    }
}

std::size_t contentLength(const std::string& headers)
{
    const std::string name = "\r\nContent-Length: ";
    const std::size_t at = headers.find(name);
    return at == std::string::npos ? 0 : std::strtoul(headers.c_str() + at + name.size(), nullptr, 10);
}

} // namespace

TlsConnection::Socket::Socket(const std::string& address, int port)
    : descriptor_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    // A connection that the peer has closed shows as an error of the write that meets it.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    constexpr timeval limit = {30, 0};
    sockaddr_in peer = {};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(static_cast<std::uint16_t>(port));
    ::inet_pton(AF_INET, address.c_str(), &peer.sin_addr);
    ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    if (::connect(descriptor_, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0) {
        ::close(std::exchange(descriptor_, -1)); // every use of it fails, as for a refused handshake
    }
}

TlsConnection::Socket::~Socket()
{
    if (descriptor_ != -1) {
        ::close(descriptor_);
    }
}

TlsConnection::Socket::Socket(Socket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

TlsConnection::TlsConnection(const std::string& address, int port, const std::string& authority,
                             const CertificateFiles& client, int mostVersion, const Session& resumed)
    : socket_(address, port), context_(SSL_CTX_new(TLS_client_method()))
{
    SSL_CTX* const context = context_.get();
    require(SSL_CTX_load_verify_locations(context, authority.c_str(), nullptr) == 1, "no authority");
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
    if (!client.certificate.empty()) {
        require(SSL_CTX_use_certificate_file(context, client.certificate.c_str(), SSL_FILETYPE_PEM) == 1 &&
                    SSL_CTX_use_PrivateKey_file(context, client.key.c_str(), SSL_FILETYPE_PEM) == 1,
                "no certificate");
    }
    if (mostVersion != 0) {
        SSL_CTX_set_security_level(context, 0); // OpenSSL would not offer the oldest by itself
        SSL_CTX_set_min_proto_version(context, TLS1_VERSION);
        SSL_CTX_set_max_proto_version(context, mostVersion);
    }
    tls_.reset(SSL_new(context));
    SSL_set_fd(tls_.get(), socket_.descriptor());
    if (resumed != nullptr) {
        SSL_set_session(tls_.get(), resumed.get());
    }
    isConnected_ = SSL_connect(tls_.get()) == 1;
    ERR_clear_error();
}

bool TlsConnection::send(const std::string& bytes)
{
    ERR_clear_error();
    return isConnected_ && SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size())) > 0;
}

bool TlsConnection::readMore()
{
    char buffer[4096];
    ERR_clear_error();
    const int size = isConnected_ ? SSL_read(tls_.get(), buffer, sizeof buffer) : 0;
    if (size <= 0) {
        return false;
    }
    received_.append(buffer, static_cast<std::size_t>(size));
    return true;
}

std::string TlsConnection::response()
{
    std::size_t end = 0;
    while ((end = received_.find(HEADERS_END)) == std::string::npos) {
        if (!readMore()) {
            return std::exchange(received_, "");
        }
    }
    const std::size_t size = end + sizeof HEADERS_END - 1 + contentLength(received_.substr(0, end));
    while (received_.size() < size && readMore()) {
    }
    std::string response = received_.substr(0, size);
    received_.erase(0, size);
    return response;
}

bool TlsConnection::isClosed() { return received_.empty() && !readMore(); }

std::string TlsConnection::tryExchange(const std::string& bytes)
{
    send(bytes); // a refused handshake shows here or when reading
    return response();
}

TlsConnection::Session TlsConnection::session() const
{
    return {SSL_get1_session(tls_.get()), SSL_SESSION_free};
}

} // namespace keepsafe_test
