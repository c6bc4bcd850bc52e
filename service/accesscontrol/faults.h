#ifndef KEEPSAFE_SANDBOX_ACCESSCONTROL_FAULTS_H
#define KEEPSAFE_SANDBOX_ACCESSCONTROL_FAULTS_H

#include <string>
#include <vector>

#include "accesscontrol/Refusal.h"

namespace keepsafe_sandbox {

/// What is wrong with a request, text by text.
using Faults = std::vector<std::string>;

/// Throws `Refusal` unless there are no faults. A single one is the message itself; several come as details
/// of `summary`.
inline void refuseIfAny(Refusal::Kind kind, const std::string& summary, const Faults& faults)
{
    if (!faults.empty()) {
        throw Refusal(kind, faults.size() == 1 ? faults.front() : summary, faults);
    }
}

} // namespace keepsafe_sandbox

#endif
