#include "support/ServerSession.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <openssl/err.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace keepsafe_test {
namespace server_detail {
namespace {

std::string clientNameOf(SSL* ssl)
{
    const std::unique_ptr<X509, void (*)(X509*)> certificate(SSL_get1_peer_certificate(ssl), X509_free);
    std::array<char, 256> name{};
    if (certificate) {
        X509_NAME_get_text_by_NID(X509_get_subject_name(certificate.get()), NID_commonName, name.data(),
                                  static_cast<int>(name.size()));
    }
    return name.data();
}

RecordedRequest parseHead(const std::string& head)
{
    RecordedRequest request;
    const std::size_t firstEnd = head.find("\r\n");
    const std::string first = head.substr(0, firstEnd);
    const std::size_t method = first.find(' ');
    const std::size_t version = first.rfind(' ');
    request.method = first.substr(0, method);
    request.target = first.substr(method + 1, version - method - 1);
    request.version = first.substr(version + 1);
    for (std::size_t at = firstEnd + 2; at < head.size();) {
        const std::size_t end = head.find("\r\n", at);
        const std::string line = head.substr(at, end - at);
        const std::size_t colon = line.find(": ");
        request.headers.emplace_back(line.substr(0, colon), line.substr(colon + 2));
        at = end + 2;
    }
    return request;
}

} // namespace

void require(bool done, const char* what)
{
    if (!done) {
        throw std::system_error(errno, std::generic_category(), std::string("HTTPS server: ") + what);
    }
}

Descriptor owned(int descriptor, const char* what)
{
    require(descriptor != -1, what);
    return Descriptor(descriptor);
}

Bell::Bell() : event_(owned(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {}

void Bell::ring() { require(::eventfd_write(event_.get(), 1) == 0, "no event"); }

Bell::Outcome Bell::waitFor(int descriptor, std::chrono::milliseconds limit)
{
    std::array<pollfd, 2> waiting{{{descriptor, POLLIN, 0}, {event_.get(), POLLIN, 0}}};
    int count = 0;
    do {
        count = ::poll(waiting.data(), waiting.size(), static_cast<int>(limit.count()));
    } while (count < 0 && errno == EINTR);
    if (waiting[1].revents != 0) {
        return Outcome::Rung;
    }
    return count > 0 ? Outcome::Ready : Outcome::TimeOut;
}

bool ServerSession::handshake(SSL_CTX* context)
{
    ssl_.reset(SSL_new(context));
    const bool done =
        ssl_ && SSL_set_fd(ssl_.get(), socket_.get()) == 1 && readable() && SSL_accept(ssl_.get()) == 1;
    if (!done) {
        ERR_clear_error();
        drain();
        breakOff();
    }
    return done;
}

bool ServerSession::receive(RecordedRequest& request)
{
    std::size_t end = 0;
    while ((end = received_.find("\r\n\r\n")) == std::string::npos) {
        if (!readMore()) {
            return false;
        }
    }
    request = parseHead(received_.substr(0, end + 2));
    received_.erase(0, end + 4);
    const std::string length = request.header("Content-Length");
    const std::size_t size = length.empty() ? 0 : std::stoul(length);
    while (received_.size() < size) {
        if (!readMore()) {
            return false;
        }
    }
    request.body = received_.substr(0, size);
    received_.erase(0, size);
    request.clientName = clientNameOf(ssl_.get());
    request.connection = number_;
    return true;
}

bool ServerSession::send(const std::string& text)
{
    ERR_clear_error();
    return text.empty() ||
           (isOpen() && SSL_write(ssl_.get(), text.data(), static_cast<int>(text.size())) > 0);
}

bool ServerSession::pause(std::chrono::milliseconds time)
{
    // A client has nothing to say before it has its response: whatever comes is its end.
    return isOpen() && bell_.waitFor(socket_.get(), time) == Bell::Outcome::TimeOut;
}

void ServerSession::close()
{
    if (isOpen()) {
        SSL_shutdown(ssl_.get());
    }
    breakOff();
}

void ServerSession::reset()
{
    const linger now{1, 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    breakOff();
}

void ServerSession::sendWithoutTls(const std::string& text)
{
    static_cast<void>(::send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL));
    drain();
    breakOff();
}

void ServerSession::listenOnly()
{
    readToTheEnd();
    breakOff();
}

bool ServerSession::readMore()
{
    std::array<char, 16384> block;
    if (SSL_pending(ssl_.get()) == 0 && !readable()) {
        return false;
    }
    ERR_clear_error();
    const int size = SSL_read(ssl_.get(), block.data(), static_cast<int>(block.size()));
    if (size > 0) {
        received_.append(block.data(), static_cast<std::size_t>(size));
    }
    return size > 0;
}

/// Reads what still comes: closing with unread bytes would reset the connection and lose what was sent.
void ServerSession::drain()
{
    ::shutdown(socket_.get(), SHUT_WR);
    readToTheEnd();
}

void ServerSession::readToTheEnd()
{
    std::array<char, 4096> block;
    while (readable() && ::recv(socket_.get(), block.data(), block.size(), 0) > 0) {
    }
}

} // namespace server_detail

std::string RecordedRequest::header(const std::string& name) const
{
    for (const auto& [itsName, value] : headers) {
        if (itsName == name) {
            return value;
        }
    }
    return {};
}

} // namespace keepsafe_test
