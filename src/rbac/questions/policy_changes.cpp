#include <keepsafe/rbac/questions/policy_changes.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <keepsafe/platform/status/status_codes.h>

#include "fail.h"
#include "role_words.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using Kind = PolicyChange::Kind;
using Scope = PolicyChange::Scope;

/// A source with its current object.
class Cursor {
public:
    explicit Cursor(PolicySource& source) : source_(source) { advance(); }

    [[nodiscard]] const GrantedObject* object() const noexcept { return hasObject_ ? &object_ : nullptr; }

    void advance()
    {
        std::swap(last_, object_.name);
        hasObject_ = source_.next(object_);
        if (hasObject_ && !isFirst_ && object_.name <= last_) {
            diagnostics::fail(Status::INVALID_ARGUMENT, "comparePolicies",
                              "The names of a policy's objects are not in order");
        }
        isFirst_ = false;
    }

private:
    PolicySource& source_;
    GrantedObject object_;
    std::string last_;
    bool hasObject_ = false;
    bool isFirst_ = true;
};

/// What changed for decisions: what is allowed now and was not, and the reverse.
struct Delta {
    RoleWords allowed;
    RoleWords denied;

    Delta() = default;
    Delta(const RoleWords& before, const RoleWords& after)
        : allowed(without(after, before)), denied(without(before, after))
    {
    }
    [[nodiscard]] bool empty() const noexcept { return allowed.empty() && denied.empty(); }
};

/// What reaches the names below an object in both policies.
struct ReachingWords {
    RoleWords before;
    RoleWords after;
    Delta delta;
};
using SharedReachingWords = std::shared_ptr<const ReachingWords>;

/// An object on the way down to the current one.
struct Above {
    std::string name;
    SharedReachingWords reaching;
};

/// What a policy allows on an object, or grants below it, given what reaches it.
RoleWords effective(const GrantedObject* object, const RoleWords& granted, const RoleWords& reaching)
{
    if (object == nullptr) {
        return reaching;
    }
    return object->inherits ? unitedWith(granted, reaching) : granted;
}

const RoleWords& onObject(const GrantedObject* object) { return object ? object->onObject : NO_WORDS; }
const RoleWords& onChildren(const GrantedObject* object) { return object ? object->onChildren : NO_WORDS; }

/// How what is decided for a name differs from what a change further up says of it.
struct Departure {
    RoleWords allowed;
    RoleWords denied;
    RoleWords asBefore;

    Departure() = default;
    Departure(const Delta& actual, const Delta& announced)
        : allowed(without(actual.allowed, announced.allowed)),
          denied(without(actual.denied, announced.denied)),
          asBefore(without(unitedWith(announced.allowed, announced.denied),
                           unitedWith(actual.allowed, actual.denied)))
    {
    }
};

class Comparison {
public:
    Comparison(const WantedChanges& wanted, const OnChange& onChange) : wanted_(wanted), onChange_(onChange)
    {
        path_.push_back({"", std::make_shared<const ReachingWords>()});
    }

    bool run(PolicySource& beforeSource, PolicySource& afterSource)
    {
        Cursor before(beforeSource);
        Cursor after(afterSource);
        while (goesOn_ && (before.object() != nullptr || after.object() != nullptr)) {
            const bool takesBefore = comesFirst(before.object(), after.object());
            const bool takesAfter = comesFirst(after.object(), before.object());
            compare(takesBefore ? before.object() : nullptr, takesAfter ? after.object() : nullptr);
            if (takesBefore) {
                before.advance();
            }
            if (takesAfter) {
                after.advance();
            }
        }
        return goesOn_;
    }

private:
    /// Whether `object` is there and does not come behind the other.
    static bool comesFirst(const GrantedObject* object, const GrantedObject* other)
    {
        return object != nullptr && (other == nullptr || object->name <= other->name);
    }

    /// One object as both policies have it; null: does not have it.
    void compare(const GrantedObject* before, const GrantedObject* after)
    {
        if (before != nullptr) {
            name_ = before->name;
        } else if (after != nullptr) {
            name_ = after->name;
        }
        if (wanted_.contents) {
            compareContents(before, after);
        }
        if (wanted_.decisions) {
            compareDecisions(before, after);
        }
    }

    void compareContents(const GrantedObject* before, const GrantedObject* after)
    {
        if (before == nullptr || after == nullptr) {
            report({before == nullptr ? Kind::ObjectAdded : Kind::ObjectRemoved, name_, Scope::OnObject,
                    after != nullptr && after->inherits, 0, Operation{}});
        } else if (before->inherits != after->inherits) {
            report({Kind::InheritTurned, name_, Scope::OnObject, after->inherits, 0, Operation{}});
        }
        if (onObject(before) == onObject(after) && onChildren(before) == onChildren(after)) {
            return;
        }
        const Delta own(onObject(before), onObject(after));
        const Delta children(onChildren(before), onChildren(after));
        reportWords(Kind::Granted, own.allowed, children.allowed);
        reportWords(Kind::Revoked, own.denied, children.denied);
    }

    void compareDecisions(const GrantedObject* before, const GrantedObject* after)
    {
        while (name_.compare(0, path_.back().name.size(), path_.back().name) != 0) {
            path_.pop_back();
        }
        const SharedReachingWords above = path_.back().reaching;
        const bool isSame = before != nullptr && after != nullptr && before->inherits == after->inherits &&
                            before->onObject == after->onObject && before->onChildren == after->onChildren;
        const SharedReachingWords below = reachingBelow(before, after, above, isSame);
        if (!isSame || !above->delta.empty()) {
            const Delta own(effective(before, onObject(before), above->before),
                            effective(after, onObject(after), above->after));
            const Departure onName(own, above->delta);
            const Departure onNamesBelow =
                below == above ? Departure() : Departure(below->delta, above->delta);
            reportDecisions(Kind::NowAllowed, onName.allowed, onNamesBelow.allowed);
            reportDecisions(Kind::NowDenied, onName.denied, onNamesBelow.denied);
            reportDecisions(Kind::AsBefore, onName.asBefore, onNamesBelow.asBefore);
        }
        path_.push_back({name_, below});
    }

    static SharedReachingWords reachingBelow(const GrantedObject* before, const GrantedObject* after,
                                             const SharedReachingWords& above, bool isSame)
    {
        if (isSame && before->inherits && before->onChildren.empty()) {
            return above;
        }
        auto below = std::make_shared<ReachingWords>();
        below->before = effective(before, onChildren(before), above->before);
        below->after = effective(after, onChildren(after), above->after);
        below->delta = Delta(below->before, below->after);
        return below;
    }

    /// Role 0 may do everything, whatever is granted to it.
    void reportDecisions(Kind kind, RoleWords onName, RoleWords belowName)
    {
        for (RoleWords* const words : {&onName, &belowName}) {
            words->erase(std::remove_if(words->begin(), words->end(),
                                        [](const RoleWord& word) { return word.roleId == 0; }),
                         words->end());
        }
        reportWords(kind, onName, belowName);
    }

    /// Those of both scopes together come first.
    void reportWords(Kind kind, const RoleWords& onName, const RoleWords& belowName)
    {
        if (onName.empty() && belowName.empty()) {
            return;
        }
        const RoleWords both = inBoth(onName, belowName);
        reportScope(kind, Scope::OnObjectAndChildren, both);
        reportScope(kind, Scope::OnObject, without(onName, both));
        reportScope(kind, Scope::OnChildren, without(belowName, both));
    }

    void reportScope(Kind kind, Scope scope, const RoleWords& words)
    {
        for (const RoleWord& word : words) {
            for (unsigned bit = 0; bit < 32; ++bit) {
                if ((word.bits >> bit & 1U) != 0) {
                    report({kind, name_, scope, false, word.roleId, word.operation(bit)});
                }
            }
        }
    }

    void report(const PolicyChange& change) { goesOn_ = goesOn_ && onChange_(change); }

    const WantedChanges wanted_;
    const OnChange& onChange_;
    std::string name_;
    std::vector<Above> path_;
    bool goesOn_ = true;
};

} // namespace

bool comparePolicies(PolicySource& before, PolicySource& after, const WantedChanges& wanted,
                     const OnChange& onChange)
{
    return Comparison(wanted, onChange).run(before, after);
}

} // namespace Tessara::Keepsafe::Rbac
