#ifndef KEEPSAFE_SANDBOX_POLICY_IMPORT_POLICY_H
#define KEEPSAFE_SANDBOX_POLICY_IMPORT_POLICY_H

#include <cstdint>

#include "cachewriter/CacheLocation.h"
#include "cachewriter/OperationCacheUpdate.h"
#include "console/Progress.h"
#include "database/Database.h"
#include "files/FileSystem.h"
#include "policy/Policy.h"

namespace keepsafe_sandbox {

/// What to do about what the access-control service keeps already.
enum class Replace { Refuse, Allow };

/// Makes a policy what the access-control service keeps, all of its objects ready, and publishes it; returns
/// the access cache's generation. Role 0 stays as it is, whatever name the policy has for it. Ids of access
/// definitions that were given out do not come again.
///
/// Throws `InputError`, with everything as it was, when the policy cannot be kept, when there is something
/// already that must not be replaced, and when bits of operations conflict with the published ones;
/// `DatabaseError`; and what `publishCache` throws, when the policy is stored but not published.
std::uint64_t importPolicy(keepsafe_service::Database& database, keepsafe_service::FileSystem& fileSystem,
                           const keepsafe_service::CacheLocation& location, const Policy& policy,
                           Replace replace, keepsafe_service::Renumber renumber,
                           const keepsafe_service::WorkProgress& progress = {});

} // namespace keepsafe_sandbox

#endif
