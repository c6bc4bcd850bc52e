#ifndef KEEPSAFE_RBAC_CLIENT_ACCESSCONTROLCLIENT_H
#define KEEPSAFE_RBAC_CLIENT_ACCESSCONTROLCLIENT_H

#include <exception>
#include <set>
#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/client/AccessChecker.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace Tessara::Dal {
class DbConnectionManager;
}

namespace Tessara::Keepsafe::Rbac {

/// The source of access checkers in a process that enforces access control. Any thread.
///
/// Both operations share one contract. `operation` names an operation, for example
/// `root_namespaces::operations::VIEW`. `reserved` is any number; no decision depends on it. On status 0
/// `checker` holds the new checker, which the caller keeps as long as it likes. Any other status leaves
/// `checker` as it was. If memory is short, a client may return 0 and leave `checker` unchanged: test it
/// before use.
class KEEPSAFE_API AccessControlClient {
public:
    AccessControlClient() = default;
    AccessControlClient(const AccessControlClient&) = delete;
    AccessControlClient& operator=(const AccessControlClient&) = delete;
    virtual ~AccessControlClient();

    /// The client for objects below `objectNamespace`. Where role-based enforcement (feature 1) is off, that
    /// is the stub client, which allows everything. Where it is on, the master server is asked which access
    /// cache covers the namespace, and that cache is opened.
    ///
    /// Returns 0; 114 when no master server is configured, the server refuses or the name has no text form;
    /// libcurl's code when the server cannot be reached; 7610 when its answer is malformed; 12 or 114 when
    /// the cache cannot be opened; 13 when the configuration is damaged. `client` changes only on 0. Any
    /// thread; each call asks the server.
    ///
    /// libcurl's codes are below 100, and 12, 13, 20 and 36 of them are statuses of this library as well. The
    /// overload with `cause` tells them apart.
    ///
    /// Throws `std::bad_alloc` alone. Computes the text form of `objectNamespace`: threads that share one
    /// call its `str()` before.
    [[nodiscard]] static int create(const ObjectNamespace& objectNamespace,
                                    boost::shared_ptr<AccessControlClient>& client);

    /// The same. `cause` is the exception behind a status other than 0, and null with 0: `ServiceRefusal`
    /// when the server refuses, `TransferFailure` when it cannot be reached, `ExplainedFailure` with the
    /// reason in most other cases.
    [[nodiscard]] static int create(const ObjectNamespace& objectNamespace,
                                    boost::shared_ptr<AccessControlClient>& client,
                                    std::exception_ptr& cause);

    /// A checker for the caller whose session token is given; its roles are looked up in the database. They
    /// are those of this moment: the checker goes on with them when the token has expired or the session was
    /// revoked. Whoever keeps it for long asks for a new one from time to time.
    ///
    /// `dbConnectionManager`: a pool that the process makes once, for example
    /// `Tessara::Dal::DbConnectionManager(1, 8, 0, 1, 30, 15, 40, Tessara::Dal::APPLICATION_USER, false)` for
    /// the configured database. It stays the caller's, is used during the call only, and serves any number of
    /// threads. Null: this call connects by itself, which takes many times as long.
    ///
    /// Returns 0; 8001 when the token has expired; 8002 when it, or what is stored for it, is not valid; 117
    /// when nothing is stored for it, as after a revocation; 220 when the database cannot be asked; 7610, 20
    /// or 10 when a payload cannot be read; or a status of the other operation.
    [[nodiscard]] virtual int createAccessChecker(Tessara::Dal::DbConnectionManager* dbConnectionManager,
                                                  const std::string& sessionToken,
                                                  const ObjectNamespace& operation, int reserved,
                                                  boost::shared_ptr<const AccessChecker>& checker) = 0;

    /// A checker for a caller that holds the given roles. Returns 0, or the status of the operation cache
    /// when it cannot be read (13).
    [[nodiscard]] virtual int createAccessChecker(const std::set<int>& roleIds,
                                                  const ObjectNamespace& operation, int reserved,
                                                  boost::shared_ptr<const AccessChecker>& checker) = 0;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
