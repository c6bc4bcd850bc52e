#ifndef KSRBAC_COMMANDS_OBJECTROW_H
#define KSRBAC_COMMANDS_OBJECTROW_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <keepsafe/rbac/client/AccessChecker.h>

#include "commands/Decider.h"

namespace ksrbac {

/// Collects objects and has them decided together, which costs a fraction of deciding them one by one. The
/// answers are printed in the order of the objects. Both references must outlive it.
class ObjectRow {
public:
    /// `where` names the place of a malformed text by the number that was added with it.
    ObjectRow(const Tessara::Keepsafe::Rbac::AccessChecker& checker, Decider& decider,
              std::function<std::string(std::size_t number)> where);

    /// Decides the row first when it is full.
    void add(std::string_view text, std::size_t number);

    /// Decides what was added. Exceptions of the checker pass through after the answers before them.
    void finish();

private:
    struct Item {
        std::size_t begin;
        std::size_t size;
        std::size_t number;
    };

    const Tessara::Keepsafe::Rbac::AccessChecker& checker_;
    Decider& decider_;
    std::function<std::string(std::size_t number)> where_;
    std::string bytes_; ///< of all texts
    std::vector<Item> items_;
};

} // namespace ksrbac

#endif
