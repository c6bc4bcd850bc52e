#include "server/HttpsListener.h"

#include <atomic>
#include <cerrno>
#include <exception>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include <httplib.h>
#include <netdb.h>

#include "errors/InputError.h"
#include "openssl/openssl_error.h"
#include "resources/error_documents.h"
#include "server/OpenConnections.h"
#include "server/request_framing.h"

namespace keepsafe_sandbox {

namespace {

constexpr char JSON_TYPE[] = "application/json";
constexpr time_t KEEP_ALIVE_SECONDS = 60;
constexpr std::size_t MOST_REQUESTS_PER_CONNECTION = 1000000;
constexpr time_t IO_TIMEOUT_SECONDS = 30;
constexpr int BACKLOG = 128;
constexpr int FIRST_ERROR = 400;

void requireUsable(bool isUsable, const std::string& file, const std::string& what)
{
    if (!isUsable) {
        throw InputError(file + " cannot be used as " + what + ": " + takeOpensslReason());
    }
}

void setUpTls(SSL_CTX& context, const ServerTlsFiles& files)
{
    constexpr char sessionContext[] = "ksrbac-sandbox";
    requireUsable(SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION) == 1, files.certificate,
                  "a certificate for TLS 1.2");
    SSL_CTX_set_options(&context, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION);
    requireUsable(SSL_CTX_use_certificate_chain_file(&context, files.certificate.c_str()) == 1,
                  files.certificate, "the server's certificate");
    requireUsable(SSL_CTX_use_PrivateKey_file(&context, files.key.c_str(), SSL_FILETYPE_PEM) == 1, files.key,
                  "the server's private key");
    requireUsable(SSL_CTX_load_verify_locations(&context, files.clientAuthority.c_str(), nullptr) == 1,
                  files.clientAuthority, "the clients' authority");
    SSL_CTX_set_client_CA_list(&context, SSL_load_client_CA_file(files.clientAuthority.c_str()));
    SSL_CTX_set_verify(&context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    // Without a context of its own a resumed session, whose client has shown its certificate before, fails.
    requireUsable(SSL_CTX_set_session_id_context(&context,
                                                 reinterpret_cast<const unsigned char*>(sessionContext),
                                                 sizeof sessionContext - 1) == 1,
                  files.certificate, "a server's certificate");
}

void requireResolvable(const ListenAddress& address)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(address.host.c_str(), nullptr, &hints, &found);
    if (error != 0) {
        throw std::runtime_error("cannot listen on " + address.text() + ": " + ::gai_strerror(error));
    }
    ::freeaddrinfo(found);
}

/// Fills the response; a connection whose next request cannot be told from what is left of this one ends
/// with it.
void respond(httplib::Response& response, const ServiceResponse& answer, bool endsConnection)
{
    response.status = answer.status;
    if (!answer.allowedMethods.empty()) {
        response.set_header("Allow", answer.allowedMethods);
    }
    if (!endsConnection) {
        if (!answer.body.empty()) {
            response.set_content(answer.body, JSON_TYPE);
        }
        return;
    }
    response.set_header("Connection", "close");
    // The library closes when a body cannot be provided to its end: this one fails behind it.
    response.set_content_provider(
        answer.body.size(), JSON_TYPE,
        [body = answer.body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
            sink.write(body.data() + offset, length);
            return false;
        });
}

} // namespace

class HttpsListener::Server : public httplib::SSLServer {
public:
    /// `tlsFault` is what the library's set-up, which an exception must not leave, has met.
    Server(const ListenAddress& address, const ServerTlsFiles& files, RequestAnswerer answerer,
           std::exception_ptr tlsFault = nullptr)
        : SSLServer([&files, &tlsFault](SSL_CTX& context) {
              try {
                  setUpTls(context, files);
                  return true;
              } catch (...) {
                  tlsFault = std::current_exception();
                  return false;
              }
          }),
          address_(address), answerer_(std::move(answerer))
    {
        if (tlsFault != nullptr) {
            std::rethrow_exception(tlsFault);
        }
        if (ssl_context() == nullptr) {
            throwOpensslError("set up TLS");
        }
        connections_.follow(*ssl_context());
        setLimits();
        setHandlers();
        bind();
    }

    void run()
    {
        hasBegun_.set_value();
        const bool hasEndedWell = listen_after_bind();
        hasEnded_ = true;
        if (!hasEndedWell) {
            throw std::runtime_error("cannot accept connections on " + address_.text() + " any more");
        }
    }

    /// The library can only be stopped between its beginning and its end, which come at any time.
    void endRun()
    {
        hasBegun_.get_future().wait();
        while (!is_running() && !hasEnded_) {
            std::this_thread::yield();
        }
        stop();
        connections_.endWaiting();
    }

private:
    void setLimits()
    {
        set_tcp_nodelay(true);
        set_keep_alive_max_count(MOST_REQUESTS_PER_CONNECTION);
        set_keep_alive_timeout(KEEP_ALIVE_SECONDS);
        set_read_timeout(IO_TIMEOUT_SECONDS);
        set_write_timeout(IO_TIMEOUT_SECONDS);
        new_task_queue = [] { return new httplib::ThreadPool(CONNECTIONS_AT_A_TIME); };
        // Not the library's SO_REUSEPORT: with it two servers share an address, and each gets half.
        set_socket_options([](int socket) {
            const int yes = 1;
            ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        });
    }

    void setHandlers()
    {
        set_expect_100_continue_handler([this](const httplib::Request& request, httplib::Response& response) {
            constexpr int goOn = 100;
            return refuseFraming(request, response) ? response.status : goOn;
        });
        set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
            connections_.beginRequest(request.ssl);
            return begin(request, response) ? HandlerResponse::Handled : HandlerResponse::Unhandled;
        });
        // The one that is called when a response has been sent; also after one to what is no proper request.
        set_logger([this](const httplib::Request& request, const httplib::Response& /*response*/) {
            if (request.ssl != nullptr) {
                connections_.endRequest(request.ssl);
            }
        });
        const HandlerWithResponse describe = [](const httplib::Request& request,
                                                httplib::Response& response) {
            clearRanges(request);
            if (response.body.empty() && !response.content_provider_) {
                respond(response, protocolErrorResponse(response.status), true);
            }
            return HandlerResponse::Handled;
        };
        set_error_handler(describe);
        const HandlerWithContentReader take =
            [this](const httplib::Request& request, httplib::Response& response,
                   const httplib::ContentReader& reader) { answerWithBody(request, response, reader); };
        Post(ANY_PATH, take);
        Put(ANY_PATH, take);
        Patch(ANY_PATH, take);
    }

    void bind()
    {
        requireResolvable(address_);
        errno = 0;
        if (!bind_to_port(address_.host, address_.port)) {
            const std::string reason =
                errno == 0 ? "the address cannot be used" : std::generic_category().message(errno);
            throw std::runtime_error("cannot listen on " + address_.text() + ": " + reason);
        }
        // The library's own backlog of 5 makes clients that come at once wait for a second.
        ::listen(svr_sock_, BACKLOG);
    }

    /// A range of a response is asked for where there is nothing of which one could have a part.
    static void clearRanges(const httplib::Request& request)
    {
        const_cast<httplib::Request&>(request).ranges.clear(); // the library's own, and not const there
    }

    bool refuseFraming(const httplib::Request& request, httplib::Response& response) const
    {
        const std::optional<FramingFault> fault =
            findFramingFault(request, answerer_.mostBodyBytes(request.target));
        if (fault) {
            respond(response, protocolErrorResponse(fault->httpStatus, fault->message), true);
        }
        return fault.has_value();
    }

    /// Answers what can be answered without reading on.
    bool begin(const httplib::Request& request, httplib::Response& response) const
    {
        clearRanges(request);
        if (refuseFraming(request, response)) {
            return true;
        }
        if (hasBody(request)) {
            // The service routes by the target as it came. The library's own routing would run a regular
            // expression over the path, whatever a client has put there.
            const_cast<httplib::Request&>(request).path = ANY_PATH;
            return false;
        }
        answer(request, "", response);
        return true;
    }

    void answerWithBody(const httplib::Request& request, httplib::Response& response,
                        const httplib::ContentReader& reader) const
    {
        const std::size_t most = answerer_.mostBodyBytes(request.target);
        std::string body;
        bool isTooLong = false;
        const bool isWhole = reader([&](const char* data, std::size_t length) {
            isTooLong = length > most - body.size();
            if (!isTooLong) {
                body.append(data, length);
            }
            return !isTooLong;
        });
        if (isTooLong) {
            respond(response, protocolErrorResponse(413), true);
        } else if (!isWhole) {
            respond(response, protocolErrorResponse(FIRST_ERROR, "the request's body does not end well"),
                    true);
        } else {
            answer(request, body, response);
        }
    }

    void answer(const httplib::Request& request, const std::string& body, httplib::Response& response) const
    {
        respond(response,
                answerer_.answer(
                    {request.method, request.target, request.get_header_value("Content-Type"), body}),
                false);
    }

    static constexpr char ANY_PATH[] = "/";

    const ListenAddress address_;
    const RequestAnswerer answerer_;
    OpenConnections connections_;
    std::promise<void> hasBegun_;
    std::atomic<bool> hasEnded_ = false;
};

HttpsListener::HttpsListener(const ListenAddress& address, const ServerTlsFiles& files,
                             RequestAnswerer answerer)
    : server_(std::make_unique<Server>(address, files, std::move(answerer)))
{
}

HttpsListener::~HttpsListener() = default;

void HttpsListener::run() { server_->run(); }

void HttpsListener::stop() { server_->endRun(); }

} // namespace keepsafe_sandbox
