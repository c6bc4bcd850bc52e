#ifndef KEEPSAFE_BENCH_TOKENS_BAREQUERY_H
#define KEEPSAFE_BENCH_TOKENS_BAREQUERY_H

#include <string>
#include <vector>

namespace keepsafe_bench {

/// The token query by ODBC alone, on its own connection, which stays open. One thread.
class BareQuery {
public:
    BareQuery(const std::string& connectionString, const std::vector<std::string>& onConnect);
    ~BareQuery();
    BareQuery(const BareQuery&) = delete;
    BareQuery& operator=(const BareQuery&) = delete;

    /// The bytes of the authorization token of the session.
    [[nodiscard]] std::size_t once(const std::string& jti) const;

private:
    void* environment_ = nullptr;
    void* connection_ = nullptr;
};

} // namespace keepsafe_bench

#endif
