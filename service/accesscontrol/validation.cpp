#include "accesscontrol/validation.h"

#include <jansson.h>

#include "accesscontrol/Store.h"
#include "json/json_text.h"

namespace keepsafe_service {

namespace {

/// A zero byte ends a text for the database's drivers, and not every database takes any bytes.
bool isText(const std::string& bytes)
{
    return bytes.find('\0') == std::string::npos &&
           JsonHandle(json_stringn(bytes.data(), bytes.size())) != nullptr;
}

void checkText(const std::string& what, const std::string& text, std::size_t mostBytes, Faults& faults)
{
    if (text.size() > mostBytes) {
        faults.push_back(what + " has " + std::to_string(text.size()) + " bytes, and at most " +
                         std::to_string(mostBytes) + " are allowed");
    } else if (!isText(text)) {
        faults.push_back(what + " is not UTF-8, or holds a zero byte");
    }
}

} // namespace

void checkRoleName(const std::string& name, std::size_t mostBytes, Faults& faults)
{
    if (name.empty()) {
        faults.emplace_back("the role's name is empty");
    }
    checkText("the role's name", name, mostBytes, faults);
}

void checkRoleDescription(const std::string& description, Faults& faults)
{
    checkText("the role's description", description, Store::MOST_ROLE_TEXT_BYTES, faults);
}

void checkObjectName(const Tessara::Keepsafe::Rbac::ObjectNamespace& ns, Faults& faults)
{
    const std::size_t size = ns.str().size();
    if (size > Store::MOST_NAME_BYTES) {
        faults.push_back("the object's name " + ns.str().substr(0, 64) + "... has " + std::to_string(size) +
                         " bytes, and at most " + std::to_string(Store::MOST_NAME_BYTES) + " are allowed");
    }
}

void checkObjectType(const std::string& object, const std::string& type, Faults& faults)
{
    checkText("the type of object " + object, type, Store::MOST_TYPE_BYTES, faults);
}

} // namespace keepsafe_service
