#ifndef KEEPSAFE_SERVICE_DATABASE_DATABASE_H
#define KEEPSAFE_SERVICE_DATABASE_DATABASE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <keepsafe/platform/dal/Dal.h>

#include "database/DatabaseError.h"

namespace keepsafe_service {

/// Statements with text parameters, each on a connection borrowed only for it. Failures are thrown as
/// `DatabaseError`; `attempt` completes "cannot ..." in their message. Any thread.
class Database {
public:
    using Texts = std::vector<std::string>;

    explicit Database(const Tessara::Dal::DbConnectionSettings& settings);

    /// For the library's own queries.
    [[nodiscard]] Tessara::Dal::DbConnectionManager& manager() noexcept { return manager_; }
    /// For transactions: see `Transaction`.
    [[nodiscard]] Tessara::Dal::DbConnectionManager& transactionManager() noexcept { return transactions_; }

    /// What the database calls itself.
    [[nodiscard]] std::string product();

    /// Runs a statement that changes data.
    void change(const std::string& attempt, const std::string& sql, const Texts& parameters = {});

    /// The one integer that a query returns; it must return a row.
    [[nodiscard]] std::int32_t number(const std::string& attempt, const std::string& sql,
                                      const Texts& parameters = {});

    /// Hands over the rows of a query, as many texts as `columnCount`, each of at most `MOST_BYTES`. A longer
    /// one, and a column without a value, is an error.
    void forEachRow(const std::string& attempt, const std::string& sql, std::size_t columnCount,
                    const std::function<void(const Texts&)>& take);

    /// The same, with the most bytes that each column may have: many rows of short texts are read faster this
    /// way.
    void forEachRow(const std::string& attempt, const std::string& sql,
                    const std::vector<std::size_t>& mostBytes, const std::function<void(const Texts&)>& take,
                    const Texts& parameters = {});

    static constexpr std::size_t MOST_BYTES = 32767;

private:
    Tessara::Dal::DbConnectionManager manager_;
    Tessara::Dal::DbConnectionManager transactions_;
};

} // namespace keepsafe_service

#endif
