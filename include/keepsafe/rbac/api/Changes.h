#ifndef KEEPSAFE_RBAC_API_CHANGES_H
#define KEEPSAFE_RBAC_API_CHANGES_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <string>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/api/BaseAPI.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

struct json_t;

namespace Tessara::Keepsafe::Rbac {

/// An entry of the service's journal: what a change has done to one role, operation, object or access
/// definition. A change that concerns many has an entry for each, all of the same revision.
struct KEEPSAFE_API Change {
    /// From a resource object, which stays the caller's. Throws `EC_exception` 7610 when it does not have the
    /// form of a change, 9103 when it is of another type, `boost::bad_lexical_cast` when the object is not a
    /// namespace.
    explicit Change(const json_t* resource);

    std::string id;            ///< where it is in the journal, as `ChangeQuery::after` takes it
    std::int64_t revision = 0; ///< ascending in the order in which changes were made, without gaps
    std::string time;          ///< UTC with microseconds, as in 2026-01-31T23:59:59.000000Z
    std::string who;  ///< the subject of the client's certificate (RFC 4514), or "local" and a user's name
    std::string what; ///< roleCreated, accessDefinitionAdded and so on
    std::optional<ObjectNamespace> object; ///< none when it is about no object
    std::optional<int> roleId;             ///< none when it is about no role
    std::string before;                    ///< compact JSON; "null" when there was nothing before
    std::string after;                     ///< compact JSON; "null" when there is nothing any more
};

/// Which changes are asked for: those that fulfil all conditions. What is left empty is none.
struct KEEPSAFE_API ChangeQuery {
    std::string since;                     ///< a time of RFC 3339: then or later; or a revision: after it
    std::optional<ObjectNamespace> object; ///< about this object, or one below it
    std::optional<int> roleId;
    std::size_t limit = 0; ///< at most so many in a page, up to 1000; 0 leaves it to the service
    std::string after;     ///< behind the change with this id
};

/// Changes in the order in which they were made, the oldest first.
struct KEEPSAFE_API ChangePage {
    std::list<Change> changes;
    std::string next; ///< the link of the next page; empty when there is no more at this time
    /// Of the journal: every change up to this one is on this page or another of the same list, if it was
    /// asked for. 0 when the service does not tell.
    std::int64_t lastRevision = 0;
};

/// Reads the journal of changes. Any thread; see `BaseAPI` for failures. A service without a journal answers
/// with HTTP status 404.
class KEEPSAFE_API ChangeAPI : public BaseAPI {
public:
    using BaseAPI::BaseAPI;

    /// The first page. Pages leave nothing out and repeat nothing, however much is changed meanwhile.
    [[nodiscard]] ChangePage get_changes(const ChangeQuery& query) const;

    /// The page behind one that has a next one. Throws `std::invalid_argument` for one that has none.
    [[nodiscard]] ChangePage get_next(const ChangePage& page) const;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
