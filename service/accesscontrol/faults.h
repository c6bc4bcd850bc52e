#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_FAULTS_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_FAULTS_H

#include <string>
#include <vector>

#include "accesscontrol/Refusal.h"

namespace keepsafe_service {

/// The faults of a request, one text each.
using Faults = std::vector<std::string>;

/// Throws `Refusal` unless there are no faults. A single one becomes the message; several become details of
/// `summary`.
inline void refuseIfAny(Refusal::Kind kind, const std::string& summary, const Faults& faults)
{
    if (!faults.empty()) {
        throw Refusal(kind, faults.size() == 1 ? faults.front() : summary, faults);
    }
}

} // namespace keepsafe_service

#endif
