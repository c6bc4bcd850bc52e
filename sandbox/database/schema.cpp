#include "database/schema.h"

namespace keepsafe_sandbox {

namespace {

// Names are not quoted, so that each database folds them its own way here and in the library's queries.

constexpr char CREATE_TOKENS[] = "CREATE TABLE IF NOT EXISTS AUTH_MAIN.AUTH_Access_Token_Details ("
                                 "SessionTokenValue VARCHAR(255) NOT NULL PRIMARY KEY, "
                                 "AzTokenValue TEXT NOT NULL)";

constexpr char CREATE_CRITERIA[] = "CREATE TABLE IF NOT EXISTS AUTH_MAIN.ACTL_CollectionCriteria ("
                                   "CriteriaID INTEGER NOT NULL PRIMARY KEY, "
                                   "CollectionKey INTEGER NOT NULL, "
                                   "CriteriaJson TEXT NOT NULL, "
                                   "objectType VARCHAR(255) NOT NULL)";

// Naming the columns makes a table of another shape fail here and not at the first query.

constexpr char COUNT_TOKENS[] =
    "SELECT CAST(COUNT(*) AS INTEGER) FROM "
    "(SELECT SessionTokenValue, AzTokenValue FROM AUTH_MAIN.AUTH_Access_Token_Details) AS rows_there";

constexpr char COUNT_CRITERIA[] = "SELECT CAST(COUNT(*) AS INTEGER) FROM "
                                  "(SELECT CriteriaID, CollectionKey, CriteriaJson, objectType "
                                  "FROM AUTH_MAIN.ACTL_CollectionCriteria) AS rows_there";

} // namespace

SchemaContent ensureSchema(Database& database, SchemaOrigin origin)
{
    if (origin == SchemaOrigin::Create) {
        database.change("create the schema AUTH_MAIN", "CREATE SCHEMA IF NOT EXISTS AUTH_MAIN");
    }
    database.change("create the table AUTH_MAIN.AUTH_Access_Token_Details", CREATE_TOKENS);
    database.change("create the table AUTH_MAIN.ACTL_CollectionCriteria", CREATE_CRITERIA);
    SchemaContent content;
    content.tokens = database.number("use the table AUTH_MAIN.AUTH_Access_Token_Details", COUNT_TOKENS);
    content.criteria = database.number("use the table AUTH_MAIN.ACTL_CollectionCriteria", COUNT_CRITERIA);
    return content;
}

} // namespace keepsafe_sandbox
