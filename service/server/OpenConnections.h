#ifndef KEEPSAFE_SANDBOX_SERVICE_OPENCONNECTIONS_H
#define KEEPSAFE_SANDBOX_SERVICE_OPENCONNECTIONS_H

#include <map>
#include <mutex>

#include <openssl/ssl.h>

namespace keepsafe_sandbox {

/// The connections of a TLS server that are open. The HTTP library waits on idle ones until its keep-alive
/// time is over, also when it has been told to stop; this knows them and can wake it. Any thread.
class OpenConnections {
public:
    OpenConnections() = default;
    OpenConnections(const OpenConnections&) = delete;
    OpenConnections& operator=(const OpenConnections&) = delete;

    /// Follows the connections made with the context from here on. The object must outlive them.
    void follow(SSL_CTX& context);

    /// A request of the connection has come, and its response has been sent.
    void beginRequest(const SSL* connection);
    void endRequest(const SSL* connection);

    /// Ends the connections that wait for a request, now and later: idle ones at once, others when their
    /// response has been sent.
    void endWaiting();

private:
    void opened(int socket);
    void closed(int socket);
    /// With the mutex held.
    void endIfWaiting(int socket) const;

    static int exDataIndex();
    static void onProgress(const SSL* connection, int where, int result);

    std::mutex mutex_;
    /// By socket, whether a request is being answered. Guarded by the mutex; sockets stay open meanwhile.
    std::map<int, bool> isAnswering_;
    bool isEnding_ = false;
};

} // namespace keepsafe_sandbox

#endif
