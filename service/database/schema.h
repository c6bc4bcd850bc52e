#ifndef KEEPSAFE_SERVICE_DATABASE_SCHEMA_H
#define KEEPSAFE_SERVICE_DATABASE_SCHEMA_H

#include <cstdint>

#include "database/Database.h"

namespace keepsafe_service {

/// What the tables of the schema AUTH_MAIN hold.
struct SchemaContent {
    std::int32_t tokens = 0;
    std::int32_t criteria = 0;
};

/// Whether the schema AUTH_MAIN has to be made, or is there because a statement run on connect attaches it.
enum class SchemaOrigin { Create, Attached };

/// Makes what is missing: the two tables of the product's database that the library reads, and those of the
/// access-control service, with role 0, the counters of ids and the first entry of the journal in them. What
/// is there stays. Counts the rows of the former. Throws `DatabaseError`, also when a table of one of the
/// names does not have the columns that are needed.
SchemaContent ensureSchema(Database& database, SchemaOrigin origin);

} // namespace keepsafe_service

#endif
