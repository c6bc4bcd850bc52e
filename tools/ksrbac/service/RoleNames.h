#ifndef KSRBAC_SERVICE_ROLENAMES_H
#define KSRBAC_SERVICE_ROLENAMES_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "io/Console.h"
#include "output/Json.h"

namespace ksrbac {

/// The names of roles, which the access-control service knows. It is asked once, and only when a name is
/// needed.
class RoleNames {
public:
    /// Asks nobody yet. `command` begins the messages about a service that could not be asked.
    explicit RoleNames(std::string command) : command_(std::move(command)) {}

    /// Asks the service for all roles unless that was done. Throws `ServiceError`.
    void ask();
    /// The same where an answer without names is still an answer: a failure is a note, and no names.
    void askIfPossible(Console& console);

    /// The name of a role as the service told it; null when it was not asked or does not know the role.
    [[nodiscard]] const std::string* nameOf(int id) const;

    /// By their ids; none before the service was asked.
    [[nodiscard]] const std::map<int, std::string>& names() const noexcept { return names_; }

    /// The ids of the roles with these names. Asks first. Throws `InputError` that begins with the argument's
    /// name and names those that no role has, or that several have, and `ServiceError`.
    [[nodiscard]] std::set<int> idsOf(const std::string& argument, const std::vector<std::string>& names);

private:
    std::string command_;
    bool isAsked_ = false;
    std::map<int, std::string> names_;
    std::map<std::string, std::set<int>> ids_;
};

// Roles in arguments: each is given by its id, a decimal number, or by its name. In a name %HH stands for the
// byte HH, so that a comma or a colon that is part of it is written %2C or %3A. `argument` is the argument's
// name for messages. All throw what `RoleNames::idsOf` throws, and `InputError` for what can be neither.

/// Roles with commas between them, such as `17,Auditor` or `-5,3`. An empty text is no role at all. A number
/// has to fit 32 bits.
[[nodiscard]] std::set<int> readRoles(RoleNames& names, const std::string& argument, const std::string& text);

/// One role of the service, whose ids are from 0 to 2147483647.
[[nodiscard]] int readServiceRole(RoleNames& names, const std::string& argument, const std::string& text);

// Roles in answers.

/// For people: `17 (Auditor)`, or the id alone where the name is not known.
[[nodiscard]] std::string roleText(const RoleNames& names, int id);

/// As the last field of a line: a tab and the name, or nothing where it is not known.
[[nodiscard]] std::string roleNameField(const RoleNames& names, int id);

/// Adds the member "roleNames", the known names of these roles by their ids, if there are any.
void addRoleNames(JsonObject& object, const std::set<int>& ids, const RoleNames& names);

} // namespace ksrbac

#endif
