#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_ACCESSCONTROL_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_ACCESSCONTROL_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "accesscontrol/ControlFigures.h"
#include "accesscontrol/Refusal.h"
#include "accesscontrol/Retry.h"
#include "accesscontrol/records.h"
#include "cachewriter/CacheLocation.h"
#include "cachewriter/ExclusiveLock.h"
#include "cachewriter/PublishError.h"
#include "console/Progress.h"
#include "database/Database.h"
#include "files/FileSystem.h"
#include "journal/Author.h"
#include "journal/read_journal.h"

namespace keepsafe_service {

/// Id of the one access cache that the service publishes; it covers all names.
constexpr char SERVICE_CACHE_ID[] = "service";

/// A change is stored, but the access cache is not yet what the store says. It is published again until it
/// is.
class NotPublished : public PublishError {
public:
    using PublishError::PublishError;
};

/// How the access cache is published.
struct Publishing {
    LockPatience lock{std::chrono::milliseconds(2000), nullptr}; ///< how long a change waits for the lock
    RetryPauses pauses;                                          ///< between attempts after a failure
    WorkProgress start = {};           ///< receives the progress of the start; may be empty
    ControlFigures* figures = nullptr; ///< kept up to date unless it is null; outlives the access control
};

/// The access-control service's data and rules: roles, operations, managed objects with their states, and
/// access definitions, kept in the database and published as one access cache that covers all names.
///
/// A change is checked, stored in one transaction, and published before the function returns. One that is
/// refused (`Refusal`) or that the database rejects (`DatabaseError`) has changed nothing. When publishing
/// fails, or its lock is held by others for too long, the change is stored and in force (`NotPublished`);
/// readers refuse the cache or see the previous one. A thread then publishes until it succeeds. Meanwhile
/// changes are stored, attempt to publish, and do not wait for the lock.
///
/// The journal has an entry for everything that a change has done, stored in the same transaction. What
/// changes nothing has none. `author` is who asks for the change, this process's user if it is left out.
///
/// Any thread; changes run one after another.
class AccessControl {
public:
    using ObjectNamespace = Tessara::Keepsafe::Rbac::ObjectNamespace;

    /// Loads everything from the database and publishes it; when that fails, it is repeated as after a
    /// change. Throws `DatabaseError`, and `PublishError` for what only an operator can remedy: contents that
    /// do not fit the cache, or operations that contradict the published ones. The references must outlive
    /// the object. Only one process at a time may do this for a database.
    AccessControl(Database& database, FileSystem& fileSystem, const CacheLocation& location,
                  const Publishing& publishing = {});
    ~AccessControl();
    AccessControl(const AccessControl&) = delete;
    AccessControl& operator=(const AccessControl&) = delete;

    /// Whether the access cache is what the store says.
    [[nodiscard]] bool isPublished() const noexcept;

    /// By id.
    [[nodiscard]] std::vector<RoleRecord> roles() const;
    [[nodiscard]] RoleRecord role(std::int32_t id) const;
    /// Ids are never reused: a token that still names a deleted role must not gain another's grants.
    RoleRecord createRole(const std::string& name, const std::string& description,
                          const Author& author = localAuthor());
    void updateRole(std::int32_t id, const std::string& name, const std::string& description,
                    const Author& author = localAuthor());
    /// With its access definitions.
    void deleteRole(std::int32_t id, const Author& author = localAuthor());

    /// By name.
    [[nodiscard]] std::vector<ObjectNamespace> operations() const;

    [[nodiscard]] ObjectRecord object(const ObjectNamespace& ns) const;
    void setInherit(const ObjectNamespace& ns, bool inherit, const Author& author = localAuthor());

    /// By id.
    [[nodiscard]] std::vector<AccessDefinitionRecord> accessDefinitions(const ObjectNamespace& ns) const;
    AccessDefinitionRecord addAccessDefinition(const ObjectNamespace& ns, const Grant& grant,
                                               const Author& author = localAuthor());
    void deleteAccessDefinition(const ObjectNamespace& ns, const std::string& id,
                                const Author& author = localAuthor());

    /// Makes all of them pending, or none. The result is in the order of the registrations. An object that is
    /// there already is a `Conflict`, unless its registration says to ignore that: then a pending one is
    /// registered again, with the new data, and a ready one is unchanged and not among the registered ones,
    /// so that rolling back cannot remove what existed before.
    std::vector<RegisteredObjects> registerObjects(const std::vector<Registration>& registrations,
                                                   const Author& author = localAuthor());

    /// All of them, or none. A pending object becomes ready, pending again or deleted; a ready one pending,
    /// ready again or deleted. The children that were registered with an object follow it, unless the same
    /// call says otherwise for them. A deleted object is gone with its access definitions.
    void updateStates(const std::vector<StateChange>& changes, const Author& author = localAuthor());

    /// From the database, without waiting for changes.
    [[nodiscard]] JournalPage journal(const JournalQuery& query) const;

private:
    class State;
    std::unique_ptr<State> state_;
};

} // namespace keepsafe_service

#endif
