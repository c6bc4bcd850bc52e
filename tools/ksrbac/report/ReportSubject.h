#ifndef KSRBAC_REPORT_REPORTSUBJECT_H
#define KSRBAC_REPORT_REPORTSUBJECT_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include <keepsafe/rbac/questions/cache_state.h>

#include "policy/OperationNames.h"
#include "report/ChangeList.h"
#include "report/StoredPolicy.h"

namespace ksrbac {

/// A cache and the state that it was read in.
struct CacheIdentity {
    std::string id;
    std::string covers; ///< text form
    Tessara::Keepsafe::Rbac::CacheState state;
};

/// One state of a cache in memory.
struct CacheCopy {
    CacheIdentity identity;
    StoredPolicy policy;
};

/// What a page is about. Everything that it refers to must outlive it.
struct ReportSubject {
    std::string title;
    const OperationNames& operations;
    const std::map<std::int32_t, std::string>& roleNames;
    const CacheCopy& cache;
    /// The earlier cache and what differs from it.
    std::optional<CacheIdentity> before;
    ChangeList changes;
};

} // namespace ksrbac

#endif
