#ifndef KEEPSAFE_SANDBOX_POLICY_POLICY_READER_H
#define KEEPSAFE_SANDBOX_POLICY_POLICY_READER_H

#include <string>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "policy/Policy.h"

namespace keepsafe_sandbox {

/// Reads a policy document (docs/sandbox.md describes it). All objects have to lie under `covers`, the
/// namespace that the cache is for.
///
/// Throws `InputError`: "line 3, column 7: ..." where the text is not JSON, otherwise with the place in the
/// document, such as "accessDefinitions[3].operations[0]: ...".
Policy readPolicy(const std::string& document, const Tessara::Keepsafe::Rbac::ObjectNamespace& covers);

/// The same from a file; messages begin with its path. A file that cannot be read is an `InputError` too.
Policy readPolicyFile(const std::string& path, const Tessara::Keepsafe::Rbac::ObjectNamespace& covers);

} // namespace keepsafe_sandbox

#endif
