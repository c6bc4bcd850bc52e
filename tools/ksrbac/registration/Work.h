#ifndef KSRBAC_REGISTRATION_WORK_H
#define KSRBAC_REGISTRATION_WORK_H

#include <optional>
#include <string>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "process/Program.h"
#include "process/SignalWatch.h"

namespace ksrbac {

/// The work for an object between the two phases of its registration: running a program, or nothing. Signals
/// that would end this process make the work fail, so that the second phase is reached and rolls the first
/// one back.
class Work {
public:
    /// The environment variable in which the program finds the object's namespace.
    static constexpr char OBJECT_VARIABLE[] = "KSRBAC_OBJECT";

    /// Nothing: no program. `signals` must outlive the object.
    Work(std::optional<Program> program, SignalWatch& signals)
        : program_(std::move(program)), signals_(signals)
    {
    }

    /// Returns nothing if the work succeeded, otherwise what happened, for a message.
    [[nodiscard]] std::string doFor(const Tessara::Keepsafe::Rbac::ObjectNamespace& object) const;

    /// The signal received, for a message; nothing if there was none. After one, all work fails.
    [[nodiscard]] std::string interruption() const;

private:
    std::optional<Program> program_;
    SignalWatch& signals_;
};

} // namespace ksrbac

#endif
