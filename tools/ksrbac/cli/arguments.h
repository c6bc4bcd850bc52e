#ifndef KSRBAC_CLI_ARGUMENTS_H
#define KSRBAC_CLI_ARGUMENTS_H

#include <cstddef>
#include <list>
#include <set>
#include <string>
#include <vector>

#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

/// \file The values of arguments. `name` is the argument's name for messages. All throw `InputError` that
/// names the argument and shows what is wrong with it.

namespace ksrbac {

/// The parts between the separators; one for a text without any.
std::vector<std::string> split(const std::string& text, char separator);

Tessara::Keepsafe::Rbac::ObjectNamespace parseNamespace(const std::string& name, const std::string& text);

/// One or more namespaces with commas between them. A comma always separates: one that is part of a name is
/// written %2C, as the text form has it.
std::list<Tessara::Keepsafe::Rbac::ObjectNamespace> parseNamespaces(const std::string& name,
                                                                    const std::string& text);

/// Role ids from a list such as `17,3` or `-5,3`. An empty text is no role at all. The message names the item
/// that is not a decimal number or does not fit 32 bits.
std::set<int> parseRoleIds(const std::string& name, const std::string& text);

/// The id of a role as the service gives them out: decimal, from 0 to 2147483647.
int parseServiceRoleId(const std::string& name, const std::string& text);

/// "on" or "off".
bool parseSwitch(const std::string& name, const std::string& text);

Tessara::Keepsafe::Rbac::Propagation parsePropagation(const std::string& name, const std::string& text);

/// An id that can be one part of a path as it stands: letters, digits, '-', '.', '_' and '~', and neither "."
/// nor "..", which would name another resource.
std::string requirePathPart(const std::string& name, const std::string& text);

/// A text that a JSON document can carry, and not longer than the service takes it.
std::string requireText(const std::string& name, const std::string& text, std::size_t longest);

} // namespace ksrbac

#endif
