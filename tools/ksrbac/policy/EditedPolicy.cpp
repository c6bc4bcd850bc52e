#include "policy/EditedPolicy.h"

#include <utility>

#include "cli/arguments.h"
#include "exit_status.h"
#include "output/escape.h"
#include "registration/ObjectRequest.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

/// The two parts of a text around a byte that no text form has in it.
std::pair<std::string, std::string> partsOf(const char* option, const std::string& text, char separator)
{
    const std::size_t at = text.find(separator);
    if (at == std::string::npos) {
        throw InputError(std::string(option) + ": \"" + escapeForMessage(text) + "\" has no " + separator);
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

} // namespace

void PolicyEdits::grant(const std::string& text) { parse("--grant", text, &Change::granted); }
void PolicyEdits::revoke(const std::string& text) { parse("--revoke", text, &Change::revoked); }

void PolicyEdits::parse(const char* option, const std::string& text, RoleBits Change::*kind)
{
    const auto [grantText, objectText] = partsOf(option, text, '@');
    const GrantRequest grant = parseGrant(option, grantText, roles_);
    Edit& edit = edits_[parseNamespace(option, objectText).str()];
    for (const Rbac::ObjectNamespace& operation : grant.operations) {
        const auto bit = operations_.bits().find(operation.str());
        if (bit == operations_.bits().end()) {
            throw InputError(std::string(option) + ": the operation cache does not know " + operation.str());
        }
        if (grant.propagation != Rbac::Propagation::CHILDREN) {
            (edit.onObject.*kind)[grant.roleId].insert(bit->second);
        }
        if (grant.propagation != Rbac::Propagation::OBJECT) {
            (edit.onChildren.*kind)[grant.roleId].insert(bit->second);
        }
    }
}

void PolicyEdits::setInherit(const std::string& text)
{
    const auto [objectText, inheritText] = partsOf("--inherit", text, '=');
    edits_[parseNamespace("--inherit", objectText).str()].inherits = parseSwitch("--inherit", inheritText);
}

EditedPolicy::EditedPolicy(Rbac::PolicySource& original, const PolicyEdits& edits)
    : original_(original), edit_(edits.edits_.begin()), lastEdit_(edits.edits_.end()),
      hasObject_(original.next(object_))
{
}

bool EditedPolicy::next(Object& object)
{
    for (; edit_ != lastEdit_ && (!hasObject_ || edit_->first < object_.name); ++edit_) {
        if (edit_->second.addsObject()) {
            object = {edit_->first, true, {}, {}};
            apply(edit_->second, object);
            ++edit_;
            return true;
        }
    }
    if (!hasObject_) {
        return false;
    }
    std::swap(object, object_);
    hasObject_ = original_.next(object_);
    if (edit_ != lastEdit_ && edit_->first == object.name) {
        apply(edit_->second, object);
        ++edit_;
    }
    return true;
}

void EditedPolicy::apply(const PolicyEdits::Edit& edit, Object& object)
{
    object.inherits = edit.inherits.value_or(object.inherits);
    apply(edit.onObject, object.onObject);
    apply(edit.onChildren, object.onChildren);
}

void EditedPolicy::apply(const PolicyEdits::Change& change, Rbac::RoleWords& words)
{
    RoleBits bits = bitsOf(words);
    for (const auto& [role, numbers] : change.granted) {
        bits[role].insert(numbers.begin(), numbers.end());
    }
    for (const auto& [role, numbers] : change.revoked) {
        for (const std::int32_t number : numbers) {
            bits[role].erase(number);
        }
    }
    words = wordsOf(bits);
}

} // namespace ksrbac
