#ifndef KEEPSAFE_PLATFORM_HTTP_KSCLIENTCURL_H
#define KEEPSAFE_PLATFORM_HTTP_KSCLIENTCURL_H

#include <string>

#include <keepsafe/platform/export/export.h>

/// \file
/// The product's HTTP client: requests to the REST root of a server of the product, over HTTPS with the
/// host's client certificate.
///
/// A path is what follows the scheme, host, port and a slash: "keepsafe/access-control/roles". A leading
/// slash is accepted. It is sent unchanged; a byte below 0x20, 0x7F or above in it is refused with transfer
/// status 3 (malformed URL). Bodies are JSON documents in UTF-8.
///
/// Each request operation returns a transfer status: 0 when a complete response was received, whatever its
/// HTTP status, and otherwise libcurl's error code. A response whose body ends with the connection cannot be
/// distinguished from a truncated one, and counts as truncated (status 18). `httpStatus` and `responseBody`
/// belong to the last request, and are 0 and empty when it failed.
///
/// The server may close a kept connection just when the next request is on its way; if no part of a response
/// has arrived, a GET, PUT or DELETE is sent once more on a new connection. POST and PATCH are never sent
/// twice: each has a connection of its own.
///
/// Security: TLS 1.2 or later; the server's certificate must be issued by the configured CA and have the
/// requested name or address as a subject alternative name; its common name does not count. The host's
/// certificate and key authenticate the client; redirects are not followed, and proxies of the environment
/// are not used. See `[tls]` and `[http]` in the configuration.

/// Which of the host's certificates authenticates the client.
enum cert_type : int { CERT_TYPE_NONE = 0, CERT_TYPE_HOST = 1 };

/// What a client is used for; has no effect today.
inline constexpr int CLIENT_KIND_REST = 1;

/// The port of the master server's REST interface.
inline constexpr int MASTER_SERVER_PORT = 1556;

/// The newest version of the REST interface: see `KSClientCURL_Base::setApiVersion`.
inline constexpr int MAX_VERSION = 14;

/// One client for a sequence of requests. One thread at a time; different clients are independent.
class KEEPSAFE_API KSClientCURL_Base {
public:
    KSClientCURL_Base() = default;
    KSClientCURL_Base(const KSClientCURL_Base&) = delete;
    KSClientCURL_Base& operator=(const KSClientCURL_Base&) = delete;
    virtual ~KSClientCURL_Base();

    [[nodiscard]] virtual int Put(const std::string& path, const std::string& body) = 0;
    [[nodiscard]] virtual int Post(const std::string& path, const std::string& body) = 0;
    [[nodiscard]] virtual int Patch(const std::string& path, const std::string& body) = 0;
    [[nodiscard]] virtual int Get(const std::string& path) = 0;
    [[nodiscard]] virtual int Delete(const std::string& path) = 0;

    /// Asks the server for a version of its REST interface, in the header "Accept" of later requests, and
    /// names it in "Content-Type" of later bodies: "application/vnd.keepsafe+json;version=14".
    virtual void setApiVersion(int version) = 0;

    [[nodiscard]] virtual long httpStatus() const = 0;
    [[nodiscard]] virtual const std::string& responseBody() const = 0;

    /// Why the last request failed, in words; empty when it succeeded or nothing more than its transfer
    /// status is known.
    [[nodiscard]] virtual std::string failureReason() const;
};

/// Creates clients. Any thread.
class KEEPSAFE_API KSClientCURL_BaseFactory {
public:
    KSClientCURL_BaseFactory() = default;
    KSClientCURL_BaseFactory(const KSClientCURL_BaseFactory&) = delete;
    KSClientCURL_BaseFactory& operator=(const KSClientCURL_BaseFactory&) = delete;
    virtual ~KSClientCURL_BaseFactory();

    /// A client for the server; the caller owns it.
    [[nodiscard]] virtual KSClientCURL_Base* create(const std::string& host, int port, int clientKind) = 0;
};

/// Issues bearer tokens for clients that authenticate by one. No client of this library does.
class KSTokenManager;

/// The client over libcurl. Connections outlive a client, for the next client in the process with the same
/// server, certificate and CA. After a fork both processes can use clients safely, each with its own
/// connections.
class KEEPSAFE_API KSClientCURL : public KSClientCURL_Base {
public:
    /// `sessionType`, `tokenManager`, `userName`, `password`, `domain`, `proxyHint`: 1, null, empty texts and
    ///     0. They are kept for callers that were written for other kinds of authentication; nothing reads
    ///     them.
    /// `verifyServer`: must be true; a client that does not verify its server refuses every request with
    ///     transfer status 60.
    /// `followRedirects`, `environmentProxy`, `verbose`: must be false; true is ignored.
    /// `aborted`: when it becomes true, the request that runs ends with transfer status 42.
    KSClientCURL(const std::string& host, int port, cert_type certificate, int sessionType,
                 KSTokenManager* tokenManager, const std::string& userName, const std::string& password,
                 const std::string& domain, bool verifyServer, bool followRedirects, bool environmentProxy,
                 bool verbose, const bool& aborted, int proxyHint);
    ~KSClientCURL() override;

    [[nodiscard]] int Put(const std::string& path, const std::string& body) override;
    [[nodiscard]] int Post(const std::string& path, const std::string& body) override;
    [[nodiscard]] int Patch(const std::string& path, const std::string& body) override;
    [[nodiscard]] int Get(const std::string& path) override;
    [[nodiscard]] int Delete(const std::string& path) override;
    void setApiVersion(int version) override;
    [[nodiscard]] long httpStatus() const override { return httpStatus_; }
    [[nodiscard]] const std::string& responseBody() const override { return responseBody_; }
    [[nodiscard]] std::string failureReason() const override { return failureReason_; }

private:
    [[nodiscard]] int request(const char* method, const std::string& path, const std::string* body);

    std::string host_;
    int port_;
    cert_type certificate_;
    bool verifyServer_;
    const bool* aborted_;
    int apiVersion_ = 0;
    long httpStatus_ = 0;
    std::string responseBody_;
    std::string failureReason_;
};

/// Makes `KSClientCURL`s that authenticate with one kind of certificate.
class KEEPSAFE_API KSClientCURLFactory : public KSClientCURL_BaseFactory {
public:
    explicit KSClientCURLFactory(cert_type certificate);
    ~KSClientCURLFactory() override;
    [[nodiscard]] KSClientCURL_Base* create(const std::string& host, int port, int clientKind) override;

private:
    cert_type certificate_;
};

#endif
