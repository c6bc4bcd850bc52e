#include <keepsafe/rbac/api/Changes.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>

#include <boost/lexical_cast.hpp>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "document.h"
#include "requests.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char CHANGE_TAG[] = "Change::Change";
constexpr char CHANGES[] = "keepsafe/access-control/changes";

std::string compact(const json_t* value)
{
    const std::unique_ptr<char, decltype(&std::free)> text(
        json_dumps(value, JSON_COMPACT | JSON_ENSURE_ASCII | JSON_ENCODE_ANY), std::free);
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    return text.get();
}

std::string pathOf(const ChangeQuery& query)
{
    std::string parameters;
    const auto add = [&parameters](const char* name, const std::string& value) {
        if (!value.empty()) {
            parameters += (parameters.empty() ? '?' : '&') + (name + ('=' + encode_uri_part(value)));
        }
    };
    add("since", query.since);
    add("object", query.object ? query.object->str() : "");
    add("role", query.roleId ? std::to_string(*query.roleId) : "");
    add("limit", query.limit == 0 ? "" : std::to_string(query.limit));
    add("after", query.after);
    return CHANGES + parameters;
}

std::string nextLink(const json_t* document)
{
    const json_t* const next = json_object_get(json_object_get(document, "links"), "next");
    const char* const href = json_string_value(json_object_get(next, "href"));
    return href == nullptr ? "" : href;
}

ChangePage readPage(const BaseAPI& api, const char* tag, const std::string& path)
{
    const boost::shared_ptr<json_t> document = json_loads_shared(get(api, tag, path));
    const json_t* const data = requireData(document.get(), tag);
    ChangePage page;
    for (std::size_t index = 0; index < json_array_size(data); ++index) {
        page.changes.emplace_back(json_array_get(data, index));
    }
    page.next = nextLink(document.get());
    page.lastRevision =
        json_integer_value(json_object_get(json_object_get(document.get(), "meta"), "lastRevision"));
    return page;
}

} // namespace

Change::Change(const json_t* resource)
{
    const char* type = nullptr;
    const char* idText = nullptr;
    json_int_t number = 0;
    const char* timeText = nullptr;
    const char* whoText = nullptr;
    const char* whatText = nullptr;
    json_t* objectName = nullptr;
    json_t* role = nullptr;
    json_t* old = nullptr;
    json_t* current = nullptr;
    json_error_t error;
    if (json_unpack_ex(const_cast<json_t*>(resource), &error, 0,
                       "{s:s, s:s, s:{s:I, s:s, s:s, s:s, s:o, s:o, s:o, s:o}}", "type", &type, "id", &idText,
                       "attributes", "revision", &number, "time", &timeText, "who", &whoText, "what",
                       &whatText, "object", &objectName, "roleId", &role, "before", &old, "after",
                       &current) != 0) {
        rejectForm(error, CHANGE_TAG);
    }
    requireType(type, "change", CHANGE_TAG);
    id = idText;
    revision = number;
    time = timeText;
    who = whoText;
    what = whatText;
    if (json_is_string(objectName)) {
        object = boost::lexical_cast<ObjectNamespace>(json_string_value(objectName));
    }
    if (json_is_integer(role)) {
        roleId = static_cast<int>(json_integer_value(role));
    }
    before = compact(old);
    after = compact(current);
}

ChangePage ChangeAPI::get_changes(const ChangeQuery& query) const
{
    return readPage(*this, "ChangeAPI::get_changes", pathOf(query));
}

ChangePage ChangeAPI::get_next(const ChangePage& page) const
{
    if (page.next.empty()) {
        throw std::invalid_argument("there is no next page");
    }
    requireNoZeroByte(page.next, "page link");
    return readPage(*this, "ChangeAPI::get_next", "keepsafe" + page.next);
}

} // namespace Tessara::Keepsafe::Rbac
