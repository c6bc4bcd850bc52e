#include "database/schema.h"

#include <string>

#include "database/Transaction.h"
#include "journal/JournalWriter.h"

namespace keepsafe_service {

namespace {

/// Names are not quoted, so that each database folds them its own way here and in the library's queries.
struct Table {
    const char* name;
    const char* columns; ///< separated by commas
    const char* definition;
};

/// Session identifiers are compared byte by byte. SQLite does that by itself.
constexpr Table TOKENS = {"AUTH_Access_Token_Details", "SessionTokenValue, AzTokenValue",
                          "SessionTokenValue VARCHAR(255) NOT NULL PRIMARY KEY, "
                          "AzTokenValue TEXT NOT NULL"};
constexpr Table POSTGRES_TOKENS = {TOKENS.name, TOKENS.columns,
                                   "SessionTokenValue VARCHAR(255) COLLATE \"C\" NOT NULL PRIMARY KEY, "
                                   "AzTokenValue TEXT NOT NULL"};

constexpr Table CRITERIA = {"ACTL_CollectionCriteria", "CriteriaID, CollectionKey, CriteriaJson, objectType",
                            "CriteriaID INTEGER NOT NULL PRIMARY KEY, "
                            "CollectionKey INTEGER NOT NULL, "
                            "CriteriaJson TEXT NOT NULL, "
                            "objectType VARCHAR(255) NOT NULL"};

constexpr Table ROLES = {"ACTL_Role", "RoleID, Name, Description, SystemDefined",
                         "RoleID INTEGER NOT NULL PRIMARY KEY, "
                         "Name TEXT NOT NULL UNIQUE, "
                         "Description TEXT NOT NULL, "
                         "SystemDefined INTEGER NOT NULL"};

constexpr Table OPERATIONS = {"ACTL_Operation", "PermissionBit, Namespace",
                              "PermissionBit INTEGER NOT NULL PRIMARY KEY, "
                              "Namespace TEXT NOT NULL"};

// PostgreSQL does not index texts of more than about 2700 bytes, so the key is a number, not the namespace.
constexpr Table OBJECTS = {"ACTL_ManagedObject",
                           "ObjectID, Namespace, objectType, Inherit, State, RegisteredWith",
                           "ObjectID INTEGER NOT NULL PRIMARY KEY, "
                           "Namespace TEXT NOT NULL, "
                           "objectType TEXT NOT NULL, "
                           "Inherit INTEGER NOT NULL, "
                           "State VARCHAR(16) NOT NULL, "
                           "RegisteredWith INTEGER NOT NULL"};

constexpr Table ACCESS_DEFINITIONS = {"ACTL_AccessDefinition",
                                      "DefinitionID, ObjectID, RoleID, Propagation, PermissionBits",
                                      "DefinitionID INTEGER NOT NULL PRIMARY KEY, "
                                      "ObjectID INTEGER NOT NULL, "
                                      "RoleID INTEGER NOT NULL, "
                                      "Propagation VARCHAR(32) NOT NULL, "
                                      "PermissionBits TEXT NOT NULL"};

constexpr Table NEXT_IDS = {"ACTL_NextID", "Kind, NextID",
                            "Kind VARCHAR(32) NOT NULL PRIMARY KEY, "
                            "NextID INTEGER NOT NULL"};

// Times have one form of digits in fixed places, which every collation orders alike.
constexpr Table CHANGES = {
    "ACTL_Change", "Revision, Place, ChangedAt, ChangedBy, What, Namespace, RoleID, BeforeJson, AfterJson",
    "Revision BIGINT NOT NULL, "
    "Place INTEGER NOT NULL, "
    "ChangedAt VARCHAR(27) NOT NULL, "
    "ChangedBy TEXT NOT NULL, "
    "What VARCHAR(32) NOT NULL, "
    "Namespace TEXT NOT NULL, "
    "RoleID INTEGER NOT NULL, "
    "BeforeJson TEXT NOT NULL, "
    "AfterJson TEXT NOT NULL, "
    "PRIMARY KEY (Revision, Place)"};

/// One row, which a change locks: revisions are in the order in which changes are committed.
constexpr Table REVISIONS = {"ACTL_Revision", "Kind, LastRevision",
                             "Kind VARCHAR(32) NOT NULL PRIMARY KEY, "
                             "LastRevision BIGINT NOT NULL"};

/// An index is in the schema of its table; only SQLite wants to be told.
constexpr char TIME_INDEX[] = "CREATE INDEX IF NOT EXISTS AUTH_MAIN.ACTL_Change_ChangedAt ON ACTL_Change "
                              "(ChangedAt, Revision)";
constexpr char POSTGRES_TIME_INDEX[] = "CREATE INDEX IF NOT EXISTS ACTL_Change_ChangedAt ON "
                                       "AUTH_MAIN.ACTL_Change (ChangedAt, Revision)";

/// What differs from database to database.
struct Dialect {
    Table tokens;
    const char* timeIndex;
};
constexpr Dialect SQLITE = {TOKENS, TIME_INDEX};
constexpr Dialect POSTGRES = {POSTGRES_TOKENS, POSTGRES_TIME_INDEX};

std::string fullName(const Table& table) { return std::string("AUTH_MAIN.") + table.name; }

std::string creation(const Table& table)
{
    return "CREATE TABLE IF NOT EXISTS " + fullName(table) + " (" + table.definition + ")";
}

/// Naming the columns makes a table of another shape fail here and not at the first query.
std::int32_t countRows(Database& database, const Table& table, const char* condition = "1 = 1")
{
    return database.number("use the table " + fullName(table),
                           std::string("SELECT CAST(COUNT(*) AS INTEGER) FROM (SELECT ") + table.columns +
                               " FROM " + fullName(table) + " WHERE " + condition + ") AS rows_there");
}

void requireColumns(Database& database, const Table& table)
{
    static_cast<void>(countRows(database, table, "1 = 0"));
}

std::string counter(const std::string& kind)
{
    return "INSERT INTO AUTH_MAIN.ACTL_NextID (Kind, NextID) VALUES ('" + kind +
           "', 1) ON CONFLICT (Kind) DO NOTHING";
}

constexpr char SYSTEM_ROLE[] = "INSERT INTO AUTH_MAIN.ACTL_Role (RoleID, Name, Description, SystemDefined) "
                               "VALUES (0, 'Administrator', 'Allowed every operation on every object, "
                               "whatever the access definitions say', 1) ON CONFLICT (RoleID) DO NOTHING";

/// Other databases reject one of the statements, after they have made the tables before it.
void requireKnown(const std::string& product)
{
    if (product != "PostgreSQL" && product != "SQLite") {
        throw DatabaseError("cannot use a database of " + (product.empty() ? "an unknown kind" : product) +
                            ": it must be of PostgreSQL or SQLite");
    }
}

/// A table that was made by others may compare by a collation that takes different identifiers for the same:
/// a session would get the roles of another.
void requireBinaryTokens(Database& database)
{
    const std::string table = fullName(TOKENS);
    for (const char* const comparison : {"= 'K'", "= 'k '"}) {
        const std::int32_t equal =
            database.number("use the table " + table,
                            "SELECT CAST(COUNT(*) AS INTEGER) FROM (SELECT SessionTokenValue FROM " + table +
                                " WHERE 1 = 0 UNION ALL SELECT 'k') AS probes WHERE "
                                "SessionTokenValue " +
                                comparison);
        if (equal != 0) {
            throw DatabaseError("cannot use the table " + table +
                                ": its column SessionTokenValue must have a binary collation");
        }
    }
}

/// In one transaction, which a database flushes to disk once.
void makeTables(Database& database, const Dialect& dialect)
{
    database.change("create the table " + fullName(NEXT_IDS), creation(NEXT_IDS));
    Transaction transaction(database, "make the tables of AUTH_MAIN");
    // Changes no row, but takes SQLite's lock for writing. A transaction that reads before it writes is
    // refused without waiting if another writer was faster.
    transaction.change("UPDATE AUTH_MAIN.ACTL_NextID SET NextID = NextID WHERE Kind = ''");
    for (const Table& table :
         {dialect.tokens, CRITERIA, ROLES, OPERATIONS, OBJECTS, ACCESS_DEFINITIONS, CHANGES, REVISIONS}) {
        transaction.change(creation(table));
    }
    transaction.change(dialect.timeIndex);
    transaction.change(SYSTEM_ROLE);
    transaction.change(counter("role"));
    transaction.change(counter("accessDefinition"));
    beginJournal(transaction);
    transaction.commit();
}

} // namespace

SchemaContent ensureSchema(Database& database, SchemaOrigin origin)
{
    const std::string product = database.product();
    requireKnown(product);
    if (origin == SchemaOrigin::Create) {
        database.change("create the schema AUTH_MAIN", "CREATE SCHEMA IF NOT EXISTS AUTH_MAIN");
    }
    makeTables(database, product == "PostgreSQL" ? POSTGRES : SQLITE);
    for (const Table& table :
         {ROLES, OPERATIONS, OBJECTS, ACCESS_DEFINITIONS, NEXT_IDS, CHANGES, REVISIONS}) {
        requireColumns(database, table);
    }
    requireBinaryTokens(database);
    SchemaContent content;
    content.tokens = countRows(database, TOKENS);
    content.criteria = countRows(database, CRITERIA);
    return content;
}

} // namespace keepsafe_service
