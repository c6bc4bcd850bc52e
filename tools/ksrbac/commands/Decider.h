#ifndef KSRBAC_COMMANDS_DECIDER_H
#define KSRBAC_COMMANDS_DECIDER_H

#include <string>
#include <string_view>

#include <keepsafe/rbac/client/AccessChecker.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>
#include <keepsafe/rbac/namespace/parse_namespace.h>
#include <keepsafe/rbac/questions/explain.h>

#include "exit_status.h"
#include "io/Console.h"
#include "service/RoleNames.h"

namespace ksrbac {

/// Answers objects with one checker, prints the answers and keeps the resulting exit status. The checker and
/// the console must outlive it.
class Decider {
public:
    Decider(const Tessara::Keepsafe::Rbac::AccessChecker& checker,
            const Tessara::Keepsafe::Rbac::ObjectNamespace& operation, bool json, Console& console);

    /// From now on the explainer decides, and each answer has its explanation, with the names of roles as far
    /// as they are known. Both must outlive the decider.
    void explainWith(const Tessara::Keepsafe::Rbac::Explainer& explainer, const RoleNames& names) noexcept
    {
        explainer_ = &explainer;
        names_ = &names;
    }
    [[nodiscard]] bool isExplaining() const noexcept { return explainer_ != nullptr; }

    /// `where` names the place of the text for the message about a malformed one. Exceptions of the checker
    /// pass through; nothing is printed for that object.
    template <typename Where>
    void decide(const std::string& text, const Where& where)
    {
        Tessara::Keepsafe::Rbac::NamespaceFault fault;
        if (!answer(text, fault)) {
            complainMalformed(where(), text, fault);
        }
    }

    /// Prints the answer about a name in its text form, which was decided elsewhere.
    void print(std::string_view text, bool allowed) { print(text, text, allowed, nullptr); }

    [[nodiscard]] ExitStatus status() const noexcept { return status_; }

private:
    [[nodiscard]] bool answer(const std::string& text, Tessara::Keepsafe::Rbac::NamespaceFault& fault);
    void print(std::string_view text, std::string_view textForm, bool allowed,
               const Tessara::Keepsafe::Rbac::Explanation* explanation);
    void complainMalformed(const std::string& where, const std::string& text,
                           const Tessara::Keepsafe::Rbac::NamespaceFault& fault);
    void raise(ExitStatus status) noexcept;

    const Tessara::Keepsafe::Rbac::AccessChecker& checker_;
    const Tessara::Keepsafe::Rbac::Explainer* explainer_ = nullptr;
    const RoleNames* names_ = nullptr;
    std::string operation_;
    bool json_;
    Console& console_;
    const std::string allow_;
    const std::string deny_;
    ExitStatus status_ = ExitStatus::Good;
};

} // namespace ksrbac

#endif
