#ifndef KSRBAC_COMMANDS_DECIDER_H
#define KSRBAC_COMMANDS_DECIDER_H

#include <string>

#include <keepsafe/rbac/client/AccessChecker.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "exit_status.h"
#include "io/Console.h"

namespace ksrbac {

/// Answers objects one by one with one checker, prints the answers and keeps the resulting exit status. The
/// checker and the console must outlive it.
class Decider {
public:
    Decider(const Tessara::Keepsafe::Rbac::AccessChecker& checker,
            const Tessara::Keepsafe::Rbac::ObjectNamespace& operation, bool json, Console& console);

    /// `where` names the place of the text for the message about a malformed one. Exceptions of the checker
    /// pass through; nothing is printed for that object.
    template <typename Where>
    void decide(const std::string& text, const Where& where)
    {
        if (!answer(text)) {
            complainMalformed(where(), text);
        }
    }

    [[nodiscard]] ExitStatus status() const noexcept { return status_; }

private:
    [[nodiscard]] bool answer(const std::string& text);
    void complainMalformed(const std::string& where, const std::string& text);
    void raise(ExitStatus status) noexcept;

    const Tessara::Keepsafe::Rbac::AccessChecker& checker_;
    std::string operation_;
    bool json_;
    Console& console_;
    ExitStatus status_ = ExitStatus::Good;
};

} // namespace ksrbac

#endif
