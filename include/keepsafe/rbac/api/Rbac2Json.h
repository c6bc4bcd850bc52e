#ifndef KEEPSAFE_RBAC_API_RBAC2JSON_H
#define KEEPSAFE_RBAC_API_RBAC2JSON_H

#include <list>
#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

struct json_t;

/// \file
/// JSON documents of the access-control service, over Jansson. A shared handle owns one reference of a value;
/// what is taken out of a document by Jansson's getters is borrowed and lives as long as the document's
/// handle. Any thread; one value, one thread at a time.

namespace Tessara::Keepsafe::Rbac {

/// The value as compact text, everything beyond ASCII escaped; zero-terminated. Throws `std::bad_alloc` when
/// the value cannot be printed.
KEEPSAFE_API boost::shared_ptr<char> json_dumps_shared(const boost::shared_ptr<json_t>& value);

/// A new empty array, in spite of the name; callers that want an object use `json_pack_shared("{}")`.
KEEPSAFE_API boost::shared_ptr<json_t> json_object_shared();

/// A new empty array.
KEEPSAFE_API boost::shared_ptr<json_t> json_array_shared();

/// A JSON string. Throws `std::bad_alloc`, also for text that is not UTF-8 or contains a zero byte.
KEEPSAFE_API boost::shared_ptr<json_t> json_string_shared(const std::string& text);

/// The document in the text. Throws `EC_exception` 7610, with a line in the log, when it is not JSON.
KEEPSAFE_API boost::shared_ptr<json_t> json_loads_shared(const std::string& text);

/// A value made by one of Jansson's format strings and its arguments. Throws `std::bad_alloc`, with a line in
/// the log, when it cannot be made, also for text that is not UTF-8.
KEEPSAFE_API boost::shared_ptr<json_t> json_pack_shared(const char* format, ...);

/// The text form of a namespace as a JSON string.
KEEPSAFE_API boost::shared_ptr<json_t> json_namespace_shared(const ObjectNamespace& objectNamespace);

/// The text forms of namespaces as an array of JSON strings, in the order of the list.
KEEPSAFE_API boost::shared_ptr<json_t>
json_namespaces_shared(const std::list<ObjectNamespace>& objectNamespaces);

} // namespace Tessara::Keepsafe::Rbac

#endif
