#ifndef KEEPSAFE_SANDBOX_POLICY_POLICY_READER_H
#define KEEPSAFE_SANDBOX_POLICY_POLICY_READER_H

#include <cstddef>
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

/// The longest document that is read. Parsing takes many times as much memory.
constexpr std::size_t MOST_POLICY_BYTES = std::size_t(256) * 1024 * 1024;

/// The same from a file or a pipe, or from standard input for "-"; messages begin with its name. What cannot
/// be read is an `InputError` too.
Policy readPolicyFile(const std::string& path, const Tessara::Keepsafe::Rbac::ObjectNamespace& covers);

} // namespace keepsafe_sandbox

#endif
