#ifndef KEEPSAFE_SERVICE_JOURNAL_JOURNALENTRY_H
#define KEEPSAFE_SERVICE_JOURNAL_JOURNALENTRY_H

#include <cstdint>
#include <string>

namespace keepsafe_service {

/// What has happened to the one thing that an entry is about, or to everything.
namespace what {
inline constexpr char JOURNAL_BEGUN[] = "journalBegun";
inline constexpr char IMPORTED[] = "imported";
inline constexpr char ROLE_CREATED[] = "roleCreated";
inline constexpr char ROLE_CHANGED[] = "roleChanged";
inline constexpr char ROLE_DELETED[] = "roleDeleted";
inline constexpr char OPERATION_ADDED[] = "operationAdded";
inline constexpr char OPERATION_DELETED[] = "operationDeleted";
inline constexpr char OBJECT_REGISTERED[] = "objectRegistered";
inline constexpr char OBJECT_READY[] = "objectReady";
inline constexpr char OBJECT_PENDING[] = "objectPending";
inline constexpr char OBJECT_CHANGED[] = "objectChanged"; ///< its type, or what it was registered with
inline constexpr char OBJECT_DELETED[] = "objectDeleted";
inline constexpr char INHERITANCE_SET[] = "inheritanceSet";
inline constexpr char DEFINITION_ADDED[] = "accessDefinitionAdded";
inline constexpr char DEFINITION_DELETED[] = "accessDefinitionDeleted";
} // namespace what

/// Where the journal has no role.
constexpr std::int32_t NO_ROLE = -1;

/// What a change has done to one role, operation, object or access definition.
struct JournalEntry {
    std::string what;
    std::string object;            ///< the text form of the name; empty when the entry is about no object
    std::int32_t roleId = NO_ROLE; ///< the role that it is about, if it is about one
    std::string before = "null";   ///< compact JSON of ASCII characters; null for what was not there
    std::string after = "null";    ///< likewise; null for what is not there any more
};

/// Where an entry is in the journal. Revisions are those of changes: one for each, ascending in the order in
/// which they were committed, without gaps. Places count the entries of a change, from 1.
struct JournalPlace {
    std::int64_t revision = 0;
    std::int32_t place = 0;
};

/// An entry that the journal holds.
struct RecordedEntry {
    JournalPlace at;
    std::string time; ///< see times.h
    std::string who;
    JournalEntry entry;
};

} // namespace keepsafe_service

#endif
