#ifndef KEEPSAFE_SRC_PLATFORM_DAL_LINK_H
#define KEEPSAFE_SRC_PLATFORM_DAL_LINK_H

#include <memory>
#include <string>
#include <vector>

#include <keepsafe/platform/dal/Dal.h>

#include "Prepared.h"
#include "odbc_handles.h"
#include "secrets.h"

namespace Tessara::Dal {

/// Why a call failed: a status of this layer and the database's message.
struct Failure {
    int status = 0;
    std::string text;
};

/// One ODBC connection with the statements that are prepared on it.
///
/// Statements are kept prepared, because preparing is most of their cost (PostgreSQL: 26 µs for a point query
/// on a prepared statement, 72 µs on a fresh one).
class Link {
public:
    /// Connects and runs the statements for a new connection. Null, with `status` set and the reason logged,
    /// when that fails. `environment` must outlive the link.
    static std::unique_ptr<Link> open(const Environment& environment, const DbConnectionSettings& settings,
                                      int& status);
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /// A statement for `sql`, prepared earlier where possible. Null, with `failure` set, when that fails.
    std::unique_ptr<Prepared> prepare(const std::string& sql, Failure& failure);
    /// Takes back a statement that has done its work, closed, for later use.
    void keep(std::unique_ptr<Prepared> statement);

    /// Rolls back whatever transaction a statement has left open. Results must be dropped before. False, with
    /// a line in the log, when that fails: the connection must not be used again.
    bool endTransaction() noexcept;

    /// What the failure of the last call on the statement means.
    Failure failureOf(const Prepared& statement);
    /// The database's name for itself.
    [[nodiscard]] const std::string& product() const noexcept { return product_; }
    /// Whether a failure showed that the connection is dead.
    [[nodiscard]] bool isDead() const noexcept { return dead_; }

private:
    Link(const Environment& environment, const DbConnectionSettings& settings);
    int connect(const DbConnectionSettings& settings);
    SQLRETURN connectAs(std::string& text);
    void reportMissingBound();
    [[nodiscard]] bool isSqlite() const noexcept { return product_ == "SQLite"; }
    int runOnConnect(const DbConnectionSettings& settings);
    int classify(const Diagnostic& diagnostic);
    SQLRETURN runPlain(const char* sql, StatementHandle& statement) noexcept;

    // INVARIANT: the statements are declared after the connection, so that they are freed before it.
    ConnectionHandle handle_;
    Secrets secrets_;
    unsigned int queryTimeoutSeconds_;
    std::string product_;
    bool connected_ = false;
    bool dead_ = false;
    std::vector<std::unique_ptr<Prepared>> kept_;
};

} // namespace Tessara::Dal

#endif
