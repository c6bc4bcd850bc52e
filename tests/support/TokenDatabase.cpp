#include "support/TokenDatabase.h"

namespace keepsafe_test {

TokenDatabase::TokenDatabase(DatabaseKind kind) : PrivateDatabase(kind)
{
    run("CREATE TABLE AUTH_MAIN.AUTH_Access_Token_Details (SessionTokenValue VARCHAR(100), AzTokenValue "
        "TEXT)");
    run("CREATE TABLE AUTH_MAIN.ACTL_CollectionCriteria (CriteriaID INTEGER, CollectionKey INTEGER, "
        "CriteriaJson TEXT, objectType VARCHAR(100))");
}

void TokenDatabase::storeToken(const std::string& jti, const std::string& azToken)
{
    run("INSERT INTO AUTH_MAIN.AUTH_Access_Token_Details (SessionTokenValue, AzTokenValue) VALUES (?, ?)",
        {jti, azToken});
}

void TokenDatabase::storeCriteria(int criteriaId, int collectionKey, const std::string& json,
                                  const std::string& objectType)
{
    run("INSERT INTO AUTH_MAIN.ACTL_CollectionCriteria VALUES (" + std::to_string(criteriaId) + ", " +
            std::to_string(collectionKey) + ", ?, ?)",
        {json, objectType});
}

void TokenDatabase::indexTokens()
{
    // SQLite wants the schema before the index, PostgreSQL before the table.
    run(kind() == DatabaseKind::Sqlite
            ? "CREATE INDEX AUTH_MAIN.Sessions ON AUTH_Access_Token_Details (SessionTokenValue)"
            : "CREATE INDEX Sessions ON AUTH_MAIN.AUTH_Access_Token_Details (SessionTokenValue)");
}

} // namespace keepsafe_test
