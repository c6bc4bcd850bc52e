#ifndef KEEPSAFE_TESTS_SUPPORT_TOKENDATABASE_H
#define KEEPSAFE_TESTS_SUPPORT_TOKENDATABASE_H

#include <string>

#include "support/PrivateDatabase.h"

namespace keepsafe_test {

/// A private database with the tables that the token queries read.
class TokenDatabase : public PrivateDatabase {
public:
    explicit TokenDatabase(DatabaseKind kind);

    void storeToken(const std::string& jti, const std::string& azToken);
    void storeCriteria(int criteriaId, int collectionKey, const std::string& json,
                       const std::string& objectType);
    /// Makes finding a token by its session quick.
    void indexTokens();
};

} // namespace keepsafe_test

#endif
