#ifndef KSRBAC_POLICY_CHANGEPRINTER_H
#define KSRBAC_POLICY_CHANGEPRINTER_H

#include <cstdint>

#include <keepsafe/rbac/questions/policy_changes.h>

#include "exit_status.h"
#include "io/Console.h"
#include "policy/OperationNames.h"
#include "service/RoleNames.h"

namespace ksrbac {

/// Prints the differences between two policies as they come: one line each, or JSON objects.
class ChangePrinter {
public:
    /// Console and names must outlive it. Throws what `OperationNames` throws.
    ChangePrinter(bool json, Console& console, const RoleNames& roles)
        : json_(json), console_(console), roles_(roles)
    {
    }

    /// Compares and prints. Throws what the sources throw.
    void print(Tessara::Keepsafe::Rbac::PolicySource& before, Tessara::Keepsafe::Rbac::PolicySource& after,
               const Tessara::Keepsafe::Rbac::WantedChanges& wanted);

    /// Whether there were any.
    [[nodiscard]] ExitStatus status() const noexcept
    {
        return count_ == 0 ? ExitStatus::Good : ExitStatus::Negative;
    }

private:
    [[nodiscard]] std::string paintedName(const Tessara::Keepsafe::Rbac::PolicyChange& change) const;
    void printChange(const Tessara::Keepsafe::Rbac::PolicyChange& change);

    const bool json_;
    Console& console_;
    const RoleNames& roles_;
    const OperationNames operations_;
    std::uint64_t count_ = 0;
};

} // namespace ksrbac

#endif
