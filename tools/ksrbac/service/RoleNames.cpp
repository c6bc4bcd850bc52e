#include "service/RoleNames.h"

#include <keepsafe/rbac/api/Roles.h>

#include "cli/arguments.h"
#include "cli/suggestions.h"
#include "exit_status.h"
#include "output/escape.h"
#include "service/ask_service.h"
#include "split.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
using Tessara::Keepsafe::Text::split;

namespace {

constexpr std::size_t LONGEST_ROLE_NAME = 256; // of a role, as the service has it

std::string quoted(const std::string& name) { return '"' + escapeForMessage(name) + '"'; }

std::string unknownText(const std::vector<std::string>& unknown, const std::vector<std::string>& known)
{
    if (unknown.size() == 1) {
        return "the service has no role " + quoted(unknown.front()) +
               didYouMean(similarNames(unknown.front(), known));
    }
    std::string text = "the service has no roles ";
    for (std::size_t i = 0; i < unknown.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == unknown.size() ? " and " : ", ") + quoted(unknown[i]);
    }
    return text;
}

std::string ambiguousText(const std::string& name, const std::set<int>& ids)
{
    std::string text = quoted(name) + " is the name of several roles, give one of the ids ";
    const char* separator = "";
    for (const int id : ids) {
        text += separator + std::to_string(id);
        separator = ", ";
    }
    return text;
}

int digitOf(char c)
{
    const std::string digits = "0123456789abcdef0123456789ABCDEF";
    const std::size_t at = digits.find(c);
    return at == std::string::npos ? -1 : static_cast<int>(at % 16);
}

/// A percent sign that no two hexadecimal digits follow stands for itself.
std::string decode(const std::string& text)
{
    std::string name;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEncoded =
            text[i] == '%' && text.size() - i > 2 && digitOf(text[i + 1]) >= 0 && digitOf(text[i + 2]) >= 0;
        name += isEncoded ? static_cast<char>(digitOf(text[i + 1]) * 16 + digitOf(text[i + 2])) : text[i];
        i += isEncoded ? 2 : 0;
    }
    return name;
}

/// The name in an argument. `place` is the argument's name, with the number of the item in it.
std::string requireName(const std::string& place, const std::string& text)
{
    if (text.empty()) {
        throw InputError(place + ", \"\", is neither the id nor the name of a role");
    }
    return requireText(place, decode(text), LONGEST_ROLE_NAME);
}

} // namespace

void RoleNames::ask()
{
    if (isAsked_) {
        return;
    }
    const auto roles = askService(command_ + ": asking for the names of roles",
                                  [] { return Rbac::RoleAPI().get_roles(""); });
    isAsked_ = true;
    for (const Rbac::Role& role : roles) {
        names_[role.id] = role.name;
        ids_[role.name].insert(role.id);
    }
}

void RoleNames::askIfPossible(Console& console)
{
    try {
        ask();
    } catch (const ServiceError& error) {
        isAsked_ = true;
        console.note(error.what());
    }
}

const std::string* RoleNames::nameOf(int id) const
{
    const auto name = names_.find(id);
    return name == names_.end() ? nullptr : &name->second;
}

std::set<int> RoleNames::idsOf(const std::string& argument, const std::vector<std::string>& names)
{
    ask();
    std::set<int> ids;
    std::vector<std::string> unknown;
    for (const std::string& name : names) {
        const auto found = ids_.find(name);
        if (found == ids_.end()) {
            unknown.push_back(name);
        } else if (found->second.size() > 1) {
            throw InputError(argument + ": " + ambiguousText(name, found->second));
        } else {
            ids.insert(*found->second.begin());
        }
    }
    if (!unknown.empty()) {
        std::vector<std::string> known;
        for (const auto& [name, sameName] : ids_) {
            known.push_back(name);
        }
        throw InputError(argument + ": " + unknownText(unknown, known));
    }
    return ids;
}

std::set<int> readRoles(RoleNames& names, const std::string& argument, const std::string& text)
{
    if (text.empty()) {
        return {};
    }
    std::set<int> ids;
    std::vector<std::string> given;
    std::size_t position = 0;
    for (const std::string& item : split(text, ',')) {
        const std::string place = argument + ": item " + std::to_string(++position);
        if (const auto id = parseRoleId(place, item)) {
            ids.insert(*id);
        } else {
            given.push_back(requireName(place, item));
        }
    }
    if (!given.empty()) {
        ids.merge(names.idsOf(argument, given));
    }
    return ids;
}

int readServiceRole(RoleNames& names, const std::string& argument, const std::string& text)
{
    if (const auto id = parseServiceRoleId(argument, text)) {
        return *id;
    }
    return *names.idsOf(argument, {requireName(argument, text)}).begin();
}

std::string roleNameField(const RoleNames& names, int id)
{
    const std::string* name = names.nameOf(id);
    return name == nullptr ? "" : '\t' + escapeForMessage(*name, name->size());
}

void addRoleNames(JsonObject& object, const std::set<int>& ids, const RoleNames& names)
{
    JsonObject byId;
    bool isAnyKnown = false;
    for (const int id : ids) {
        if (const std::string* name = names.nameOf(id)) {
            byId.add(std::to_string(id), *name);
            isAnyKnown = true;
        }
    }
    if (isAnyKnown) {
        object.add("roleNames", byId);
    }
}

std::string roleText(const RoleNames& names, int id)
{
    const std::string* name = names.nameOf(id);
    return std::to_string(id) + (name == nullptr ? "" : " (" + escapeForMessage(*name, name->size()) + ')');
}

} // namespace ksrbac
