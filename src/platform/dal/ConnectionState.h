#ifndef KEEPSAFE_SRC_PLATFORM_DAL_CONNECTIONSTATE_H
#define KEEPSAFE_SRC_PLATFORM_DAL_CONNECTIONSTATE_H

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "Link.h"

namespace Tessara::Dal {

/// Where connections come from.
class ConnectionSource {
public:
    ConnectionSource() = default;
    ConnectionSource(const ConnectionSource&) = delete;
    ConnectionSource& operator=(const ConnectionSource&) = delete;

    /// A new connection. Null, with `status` set and the reason logged, if none can be made.
    virtual std::unique_ptr<Link> connect(int& status) = 0;
    /// Reports that a connection was found dead: those of its age are suspect. Returns the age of connections
    /// made from now on.
    virtual std::uint64_t foundDead() = 0;

protected:
    ~ConnectionSource() = default;
};

class __attribute__((visibility("hidden"))) DbConnection::State {
public:
    State(ConnectionSource& source, std::unique_ptr<Link> link, std::uint64_t age)
        : source_(source), link_(std::move(link)), age_(age)
    {
    }

    /// Runs a query or command for a view without a result and gives it one.
    Failure run(std::unique_ptr<Prepared>& result, const std::string& sql,
                const DalOdbcView::BindingStruct* parameters, std::size_t count, bool isCommand);
    /// What the failure of the last call on the statement means; the source hears of a dead connection.
    Failure failureOf(const Prepared& statement);
    /// Reads one column of the result's current row into its place in the record.
    Failure readColumn(const Prepared& statement, const DalOdbcView::BindingStruct& column, char* row,
                       bool rejectNull, bool allowTruncation);
    /// Takes a view's result back.
    void drop(std::unique_ptr<Prepared> result);

    /// To be called when the connection is given back: ends a transaction that a statement may have begun.
    /// False when that failed: the connection must be closed.
    bool endTransaction() noexcept;
    /// To be called when the connection comes out of the pool after it was idle there.
    void markIdled() noexcept { proven_ = false; }
    [[nodiscard]] bool isDead() const noexcept { return link_->isDead(); }
    [[nodiscard]] const std::string& product() const noexcept { return link_->product(); }
    [[nodiscard]] std::uint64_t age() const noexcept { return age_; }

private:
    Failure runOnce(std::unique_ptr<Prepared>& result, const std::string& sql,
                    const DalOdbcView::BindingStruct* parameters, std::size_t count, bool& reused);
    Failure noteDeath(Failure failure);
    Failure runOnNewLink(std::unique_ptr<Prepared>& result, const std::string& sql,
                         const DalOdbcView::BindingStruct* parameters, std::size_t count);

    ConnectionSource& source_;
    std::unique_ptr<Link> link_;
    std::uint64_t age_;
    /// Whether it has worked since it was last idle. A server that went away in between is only noticed at
    /// the next statement.
    bool proven_ = true;
    /// Whether a statement has run that may have begun a transaction; a statement run on connect may have.
    bool unsettled_ = true;
    /// Results that views hold on the link.
    unsigned int results_ = 0;
};

/// A view's result.
class __attribute__((visibility("hidden"))) DalOdbcView::Result {
public:
    explicit Result(DbConnection::State& connection) : connection_(connection) {}
    ~Result() { drop(); }
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;

    void drop()
    {
        if (statement) {
            connection_.drop(std::move(statement));
        }
    }

    /// Null if there is no result.
    std::unique_ptr<Prepared> statement;

private:
    DbConnection::State& connection_;
};

} // namespace Tessara::Dal

#endif
