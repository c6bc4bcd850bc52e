#include "commands/change_text.h"

#include <cstddef>

#include "load.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

using Tessara::Keepsafe::JsonHandle;

/// A document of the journal; members that it does not have read as empty.
class Item {
public:
    explicit Item(const std::string& json)
    {
        json_error_t ignored;
        document_ = Tessara::Keepsafe::loadJson(json, ignored, JSON_DECODE_ANY);
    }

    [[nodiscard]] bool isThere() const { return json_is_object(document_.get()); }

    [[nodiscard]] std::string text(const char* name) const
    {
        const json_t* const value = json_object_get(document_.get(), name);
        return escapeForMessage(
            {json_string_value(value) == nullptr ? "" : json_string_value(value), json_string_length(value)});
    }
    [[nodiscard]] std::string number(const char* name) const
    {
        return std::to_string(json_integer_value(json_object_get(document_.get(), name)));
    }
    [[nodiscard]] bool isTrue(const char* name) const
    {
        return json_is_true(json_object_get(document_.get(), name));
    }
    /// Separated by commas.
    [[nodiscard]] std::string list(const char* name) const
    {
        const json_t* const values = json_object_get(document_.get(), name);
        std::string joined;
        for (std::size_t i = 0; i < json_array_size(values); ++i) {
            const char* const value = json_string_value(json_array_get(values, i));
            joined +=
                (i == 0 ? "" : ",") + escapeForMessage(value == nullptr ? "" : value, std::string::npos);
        }
        return joined;
    }

private:
    JsonHandle document_;
};

/// "access definition 9 added: role 40 on |A|, OBJECT, |OPERATIONS|VIEW|"
std::string grantText(const Item& grant, const char* done)
{
    return "access definition " + grant.text("id") + ' ' + done + ": role " + grant.number("roleId") +
           " on " + grant.text("object") + ", " + grant.text("propagation") + ", " + grant.list("operations");
}

std::string roleText(const Item& role, const char* done)
{
    return "role " + role.number("id") + ' ' + done + ": " + role.text("name");
}

std::string changedRoleText(const Item& before, const Item& after)
{
    const std::string old = before.text("name");
    return "role " + after.number("id") + " changed: " +
           (old == after.text("name") ? old + ", its description" : old + " is now " + after.text("name"));
}

std::string importText(const Item& counts)
{
    return "policy imported: " + counts.number("roles") + " roles, " + counts.number("operations") +
           " operations, " + counts.number("objects") + " objects, " + counts.number("accessDefinitions") +
           " access definitions";
}

/// Of an object, by the last word of the service's word for it: "objectReady".
std::string objectText(const Item& object, const std::string& what)
{
    if (what == "inheritanceSet") {
        return "object " + object.text("object") +
               (object.isTrue("inherit") ? " inherits" : " does not inherit");
    }
    std::string done = what.substr(sizeof "object" - 1);
    done.front() = static_cast<char>(done.front() - 'A' + 'a');
    return "object " + object.text("object") + ' ' + done;
}

} // namespace

std::string changeText(const Rbac::Change& change)
{
    const Item before(change.before);
    const Item after(change.after);
    const Item& item = after.isThere() ? after : before;
    const std::string& what = change.what;
    if (what == "roleChanged") {
        return changedRoleText(before, after);
    }
    if (what == "roleCreated" || what == "roleDeleted") {
        return roleText(item, what == "roleCreated" ? "created" : "deleted");
    }
    if (what == "accessDefinitionAdded" || what == "accessDefinitionDeleted") {
        return grantText(item, what == "accessDefinitionAdded" ? "added" : "deleted");
    }
    if (what == "operationAdded" || what == "operationDeleted") {
        return "operation " + item.text("operation") + (what == "operationAdded" ? " added" : " deleted");
    }
    if (what == "imported") {
        return importText(item);
    }
    if (what == "journalBegun") {
        return "the journal begins";
    }
    for (const char* of : {"inheritanceSet", "objectRegistered", "objectReady", "objectPending",
                           "objectChanged", "objectDeleted"}) {
        if (what == of) {
            return objectText(item, what);
        }
    }
    return escapeForMessage(what); // of a later service
}

} // namespace ksrbac
