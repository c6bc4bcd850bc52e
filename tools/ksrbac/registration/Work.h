#ifndef KSRBAC_REGISTRATION_WORK_H
#define KSRBAC_REGISTRATION_WORK_H

#include <optional>
#include <string>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "process/Program.h"
#include "process/SignalWatch.h"

namespace ksrbac {

/// What is done about an object between the two phases of its registration: a program is run, or nothing is.
/// Signals that would end this process make the work fail, so that the second phase is reached and takes the
/// first one back.
class Work {
public:
    /// The environment variable in which the program finds the object's namespace.
    static constexpr char OBJECT_VARIABLE[] = "KSRBAC_OBJECT";

    /// Nothing: no program. `signals` must outlive the object.
    Work(std::optional<Program> program, SignalWatch& signals)
        : program_(std::move(program)), signals_(signals)
    {
    }

    /// Returns nothing when the work succeeded, and else what happened, for a message.
    [[nodiscard]] std::string doFor(const Tessara::Keepsafe::Rbac::ObjectNamespace& object) const;

    /// What signal came, for a message; nothing when none did. After one, all work fails.
    [[nodiscard]] std::string interruption() const;

private:
    std::optional<Program> program_;
    SignalWatch& signals_;
};

} // namespace ksrbac

#endif
