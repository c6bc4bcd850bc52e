#include <keepsafe/rbac/api/Rbac2Json.h>

#include <cstdarg>
#include <cstdlib>
#include <new>
#include <utility>

#include <boost/lexical_cast.hpp>

#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

#include "fail.h"
#include "load.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

/// A value that could not be made is out of memory.
boost::shared_ptr<json_t> shared(JsonHandle value)
{
    if (!value) {
        throw std::bad_alloc();
    }
    return value;
}

/// Takes over one reference.
boost::shared_ptr<json_t> own(json_t* value) { return shared(JsonHandle(value)); }

} // namespace

boost::shared_ptr<char> json_dumps_shared(const boost::shared_ptr<json_t>& value)
{
    char* const text = json_dumps(value.get(), JSON_COMPACT | JSON_ENSURE_ASCII);
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    return boost::shared_ptr<char>(text, std::free);
}

boost::shared_ptr<json_t> json_object_shared() { return own(json_array()); }

boost::shared_ptr<json_t> json_array_shared() { return own(json_array()); }

boost::shared_ptr<json_t> json_string_shared(const std::string& text)
{
    if (text.find('\0') != std::string::npos) {
        throw std::bad_alloc(); // as for other bytes that no string of JSON holds; not a part of the text
    }
    return own(json_string(text.c_str()));
}

boost::shared_ptr<json_t> json_loads_shared(const std::string& text)
{
    json_error_t error;
    JsonHandle document = loadJson(text, error);
    if (!document) {
        diagnostics::fail(Status::MALFORMED_DOCUMENT, "json_loads_shared",
                          std::string("Error parsing JSON: ") + error.text);
    }
    return shared(std::move(document));
}

boost::shared_ptr<json_t> json_pack_shared(const char* format, ...)
{
    json_error_t error;
    std::va_list arguments;
    va_start(arguments, format);
    json_t* const value = json_vpack_ex(&error, 0, format, arguments);
    va_end(arguments);
    if (value == nullptr) {
        logmsgf(Platform::LOG_LEVEL_ERROR, "json_pack_shared", "Error generating JSON: %s", error.text);
    }
    return own(value);
}

boost::shared_ptr<json_t> json_namespace_shared(const ObjectNamespace& objectNamespace)
{
    return json_string_shared(boost::lexical_cast<std::string>(objectNamespace));
}

boost::shared_ptr<json_t> json_namespaces_shared(const std::list<ObjectNamespace>& objectNamespaces)
{
    boost::shared_ptr<json_t> array = json_array_shared();
    for (const ObjectNamespace& objectNamespace : objectNamespaces) {
        if (json_array_append(array.get(), json_namespace_shared(objectNamespace).get()) != 0) {
            throw std::bad_alloc();
        }
    }
    return array;
}

} // namespace Tessara::Keepsafe::Rbac
