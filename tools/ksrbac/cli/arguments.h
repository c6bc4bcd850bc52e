#ifndef KSRBAC_CLI_ARGUMENTS_H
#define KSRBAC_CLI_ARGUMENTS_H

#include <cstddef>
#include <list>
#include <optional>
#include <string>

#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>
#include <keepsafe/rbac/namespace/parse_namespace.h>

/// \file The values of arguments. `name` is the argument's name for messages. All throw `InputError` that
/// names the argument and shows what is wrong with it.

namespace ksrbac {

Tessara::Keepsafe::Rbac::ObjectNamespace parseNamespace(const std::string& name, const std::string& text);

/// A text that is no namespace, quoted, with what is wrong and where: `"|A|%4|": byte 4: '%' is not followed
/// by two hexadecimal digits`. Bytes are counted from 1.
std::string faultyNamespace(const std::string& text, const Tessara::Keepsafe::Rbac::NamespaceFault& fault);

/// One or more namespaces with commas between them. A comma always separates: one that is part of a name is
/// written %2C, as the text form has it.
std::list<Tessara::Keepsafe::Rbac::ObjectNamespace> parseNamespaces(const std::string& name,
                                                                    const std::string& text);

/// The id of a role, a decimal number that fits 32 bits; nothing for a text that is no decimal number.
/// `place` is the argument's name, with the number of the item if there are several.
std::optional<int> parseRoleId(const std::string& place, const std::string& text);

/// The same as the service gives them out: from 0 to 2147483647.
std::optional<int> parseServiceRoleId(const std::string& name, const std::string& text);

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
