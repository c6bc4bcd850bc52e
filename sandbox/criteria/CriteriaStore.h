#ifndef KEEPSAFE_SANDBOX_CRITERIA_CRITERIASTORE_H
#define KEEPSAFE_SANDBOX_CRITERIA_CRITERIASTORE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "database/Database.h"

namespace keepsafe_sandbox {

/// One criteria document of a collection, as the database holds it.
struct Criteria {
    std::int32_t collectionKey = 0;
    std::string objectType;
    std::string json;
};

/// The collection criteria in the database. Throws `DatabaseError`.
class CriteriaStore {
public:
    /// Longest document that the library can read, in bytes.
    static constexpr std::size_t MOST_DOCUMENT_BYTES = 32767;

    /// The database must outlive the store.
    explicit CriteriaStore(keepsafe_service::Database& database) : database_(database) {}

    /// Adds a row with the next free id. Throws `InputError`, and adds nothing, when the document is not a
    /// JSON object or array or too long, or the type is empty.
    void add(const Criteria& criteria);
    /// In the order of the ids.
    void forEach(const std::function<void(const std::string& id, const std::string& collectionKey,
                                          const std::string& objectType, const std::string& json)>& take);

private:
    keepsafe_service::Database& database_;
};

} // namespace keepsafe_sandbox

#endif
