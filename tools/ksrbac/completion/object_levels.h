#ifndef KSRBAC_COMPLETION_OBJECT_LEVELS_H
#define KSRBAC_COMPLETION_OBJECT_LEVELS_H

#include <set>
#include <string>

#include <keepsafe/rbac/questions/reachable_objects.h>

namespace ksrbac {

/// The beginnings of the names of a cache's objects that continue `typed` by one level: up to the next bar.
/// If only one does, those one level further down come with it, because a shell would take a single one for
/// the whole word. At most some hundred; `typed` in the canonical text form. `all` reaches all objects.
std::set<std::string> nextLevels(const Tessara::Keepsafe::Rbac::ReachableObjects& all,
                                 const std::string& typed);

} // namespace ksrbac

#endif
