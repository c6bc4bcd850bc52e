#include "commands/Decider.h"

#include <algorithm>

#include <boost/lexical_cast/try_lexical_convert.hpp>

#include "output/Json.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

Decider::Decider(const Rbac::AccessChecker& checker, const Rbac::ObjectNamespace& operation, bool json,
                 Console& console)
    : checker_(checker), operation_(operation.str()), json_(json), console_(console)
{
}

bool Decider::answer(const std::string& text)
{
    Rbac::ObjectNamespace object;
    if (!boost::conversion::try_lexical_convert(text, object)) {
        return false;
    }
    const bool allowed = checker_.checkAccess(object);
    if (!allowed) {
        raise(ExitStatus::Negative);
    }
    if (json_) {
        console_.print(JsonObject()
                           .add("object", object.str())
                           .add("operation", operation_)
                           .add("allowed", allowed)
                           .text() +
                       '\n');
    } else {
        console_.print((allowed ? "allow\t" : "deny\t") + text + '\n');
    }
    return true;
}

void Decider::complainMalformed(const std::string& where, const std::string& text)
{
    raise(ExitStatus::BadInput);
    console_.complainLine(where + ": not an object namespace: \"" + escapeForMessage(text) + '"');
}

void Decider::raise(ExitStatus status) noexcept { status_ = std::max(status_, status); }

} // namespace ksrbac
