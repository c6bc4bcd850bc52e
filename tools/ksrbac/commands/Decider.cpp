#include "commands/Decider.h"

#include <algorithm>

#include "cli/arguments.h"
#include "commands/explanation.h"
#include "output/Json.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

Decider::Decider(const Rbac::AccessChecker& checker, const Rbac::ObjectNamespace& operation, bool json,
                 Console& console)
    : checker_(checker), operation_(operation.str()), json_(json), console_(console),
      allow_(console.paint("allow", Colour::Good)), deny_(console.paint("deny", Colour::Bad))
{
}

bool Decider::answer(const std::string& text, Rbac::NamespaceFault& fault)
{
    const auto object = Rbac::parseNamespace(text, fault);
    if (!object) {
        return false;
    }
    if (explainer_ != nullptr) {
        const Rbac::Explanation explanation = explainer_->explain(*object);
        print(text, object->str(), explanation.verdict.isAllowed, &explanation);
    } else {
        print(text, object->str(), checker_.checkAccess(*object), nullptr);
    }
    return true;
}

void Decider::print(std::string_view text, std::string_view textForm, bool allowed,
                    const Rbac::Explanation* explanation)
{
    if (!allowed) {
        raise(ExitStatus::Negative);
    }
    if (json_) {
        JsonObject json;
        json.add("object", textForm).add("operation", operation_).add("allowed", allowed);
        if (explanation != nullptr) {
            addExplanation(json, *explanation, *names_);
        }
        console_.print(json.text() + '\n');
        return;
    }
    console_.print(allowed ? allow_ : deny_);
    console_.print("\t");
    // A name that holds a line feed would look like the answer for an object that nobody asked about.
    console_.print(isPrintable(text) ? text : textForm);
    console_.print("\n");
    if (explanation != nullptr) {
        console_.print(explanationText(*explanation, *names_));
    }
}

void Decider::complainMalformed(const std::string& where, const std::string& text,
                                const Rbac::NamespaceFault& fault)
{
    raise(ExitStatus::BadInput);
    console_.complainLine(where + ": not an object namespace: " + faultyNamespace(text, fault));
}

void Decider::raise(ExitStatus status) noexcept { status_ = std::max(status_, status); }

} // namespace ksrbac
