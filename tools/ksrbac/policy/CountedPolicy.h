#ifndef KSRBAC_POLICY_COUNTEDPOLICY_H
#define KSRBAC_POLICY_COUNTEDPOLICY_H

#include <keepsafe/rbac/questions/policy_contents.h>

#include "io/Progress.h"

namespace ksrbac {

/// The objects of a policy, each of which is progress. Both must outlive it.
class CountedPolicy final : public Tessara::Keepsafe::Rbac::PolicySource {
public:
    CountedPolicy(Tessara::Keepsafe::Rbac::PolicySource& policy, Progress& progress)
        : policy_(policy), progress_(progress)
    {
    }

    [[nodiscard]] bool next(Tessara::Keepsafe::Rbac::GrantedObject& object) override
    {
        const bool isThere = policy_.next(object);
        progress_.add(isThere ? 1 : 0);
        return isThere;
    }

private:
    Tessara::Keepsafe::Rbac::PolicySource& policy_;
    Progress& progress_;
};

} // namespace ksrbac

#endif
