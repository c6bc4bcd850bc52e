#ifndef KEEPSAFE_SANDBOX_SERVICE_OPENCONNECTIONS_H
#define KEEPSAFE_SANDBOX_SERVICE_OPENCONNECTIONS_H

#include <mutex>
#include <set>

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

    /// Lets no connection read any more, now and later: what has come is answered, idle ones end.
    void endReading();

private:
    void opened(int socket);
    void closed(int socket);

    static int exDataIndex();
    static void onProgress(const SSL* connection, int where, int result);

    std::mutex mutex_;
    std::set<int> sockets_; ///< guarded by the mutex, and so open while one looks at them
    bool isEnding_ = false;
};

} // namespace keepsafe_sandbox

#endif
