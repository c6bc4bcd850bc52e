#include "ConnectionState.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string_view>

#include <keepsafe/platform/log/logmsg.h>

namespace Tessara::Dal {
namespace {

/// A connection that died while idle fails at once. One that dies later was in use, and its statement is not
/// repeated, so that a call ends within its time.
constexpr std::chrono::seconds DIED_WHILE_IDLE{5};

/// Whether a statement cannot begin a transaction that outlives it: a single query. A semicolon may be in
/// front of further statements; in a text it costs no more than an unnecessary rollback.
bool isPlainQuery(const std::string& sql)
{
    constexpr std::string_view SELECT = "select ";
    const bool selects = sql.size() > SELECT.size() &&
                         std::equal(SELECT.begin(), SELECT.end(), sql.begin(), [](char expected, char is) {
                             return expected == is || (is >= 'A' && is <= 'Z' && expected == is - 'A' + 'a');
                         });
    return selects && sql.find(';') == std::string::npos;
}

} // namespace

Failure DbConnection::State::noteDeath(Failure failure)
{
    if (failure.status == STATUS_CONNECTION_LOST) {
        source_.foundDead();
    }
    return failure;
}

Failure DbConnection::State::failureOf(const Prepared& statement)
{
    return noteDeath(link_->failureOf(statement));
}

Failure DbConnection::State::runOnce(std::unique_ptr<Prepared>& result, const std::string& sql,
                                     const DalOdbcView::BindingStruct* parameters, std::size_t count,
                                     bool& reused)
{
    Failure failure;
    unsettled_ = unsettled_ || !isPlainQuery(sql);
    std::unique_ptr<Prepared> statement = link_->prepare(sql, failure);
    if (!statement) {
        reused = false;
        return failure;
    }
    reused = statement->isReused();
    if (statement->parameterCount() != count) {
        failure = {STATUS_BAD_BINDING, "the statement has " + std::to_string(statement->parameterCount()) +
                                           " parameters, not " + std::to_string(count)};
        link_->keep(std::move(statement));
        return failure;
    }
    if (!statement->execute(parameters, count)) {
        return link_->failureOf(*statement);
    }
    proven_ = true;
    result = std::move(statement);
    ++results_;
    return failure;
}

Failure DbConnection::State::runOnNewLink(std::unique_ptr<Prepared>& result, const std::string& sql,
                                          const DalOdbcView::BindingStruct* parameters, std::size_t count)
{
    int status = 0;
    const std::uint64_t age = source_.foundDead();
    std::unique_ptr<Link> link = source_.connect(status);
    if (!link) {
        return {STATUS_CONNECTION_LOST, "the connection is lost and could not be replaced"};
    }
    link_ = std::move(link);
    age_ = age;
    unsettled_ = true;
    bool reused = false;
    return noteDeath(runOnce(result, sql, parameters, count, reused));
}

Failure DbConnection::State::run(std::unique_ptr<Prepared>& result, const std::string& sql,
                                 const DalOdbcView::BindingStruct* parameters, std::size_t count,
                                 bool isCommand)
{
    if (link_->isDead()) {
        return {STATUS_CONNECTION_LOST, "the connection was lost before"};
    }
    const auto start = std::chrono::steady_clock::now();
    const bool idled = !proven_;
    bool reused = false;
    Failure failure = runOnce(result, sql, parameters, count, reused);
    if (failure.status == 0 || isCommand) {
        return noteDeath(failure);
    }
    if (failure.status == STATUS_CONNECTION_LOST && idled && results_ == 0 &&
        std::chrono::steady_clock::now() - start < DIED_WHILE_IDLE) {
        logmsgf(Keepsafe::Platform::LOG_LEVEL_NOTABLE, "DbConnection::Execute",
                "an idle connection to the database was lost, connecting again: %s", failure.text.c_str());
        return runOnNewLink(result, sql, parameters, count);
    }
    // The table may have changed under a prepared statement, or the server forgot it.
    if (failure.status == STATUS_STATEMENT_FAILED && reused) {
        failure = runOnce(result, sql, parameters, count, reused);
    }
    return noteDeath(failure);
}

void DbConnection::State::drop(std::unique_ptr<Prepared> result)
{
    --results_;
    link_->keep(std::move(result));
}

bool DbConnection::State::endTransaction() noexcept
{
    if (unsettled_) {
        unsettled_ = !link_->endTransaction();
    }
    return !unsettled_;
}

} // namespace Tessara::Dal
