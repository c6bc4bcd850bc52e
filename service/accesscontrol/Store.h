#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_STORE_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_STORE_H

#include <cstddef>

#include "accesscontrol/Content.h"
#include "accesscontrol/change_entries.h"
#include "console/Progress.h"
#include "database/Database.h"
#include "journal/Author.h"

namespace keepsafe_service {

/// The tables of the access-control service. All failures are thrown as `DatabaseError`.
class Store {
public:
    /// Longest texts that are stored.
    static constexpr std::size_t MOST_NAME_BYTES = 4096;
    static constexpr std::size_t MOST_ROLE_TEXT_BYTES = 256;
    static constexpr std::size_t MOST_TYPE_BYTES = 255;

    /// How many operations one access definition can have.
    static constexpr std::size_t MOST_OPERATIONS = 2500;

    /// `database` must outlive the object.
    explicit Store(Database& database) : database_(database) {}

    /// Everything. Inconsistent data is a failure that names it.
    [[nodiscard]] Content load();

    /// With the entries of the journal, all or nothing; if the connection is lost at the end, the outcome is
    /// unknown. `model` is that before the changes.
    void apply(const Model& model, const Changes& changes, Occasion occasion, const Author& author);

    /// Replaces everything that is kept, likewise. `tell`, if any, receives the progress.
    void replace(const Content& kept, const Content& content, const Author& author,
                 const WorkProgress& tell = {});

private:
    Database& database_;
};

} // namespace keepsafe_service

#endif
