#ifndef KEEPSAFE_TESTS_SERVICE_SUPPORT_JOURNALREPLAY_H
#define KEEPSAFE_TESTS_SERVICE_SUPPORT_JOURNALREPLAY_H

#include <cstdint>
#include <map>
#include <string>

#include "accesscontrol/Content.h"

namespace keepsafe_test {

/// Roles, operations, objects and access definitions in the journal's form, by what they are: "role 7",
/// "object |A|" and so on.
using Items = std::map<std::string, std::string>;

[[nodiscard]] Items itemsOf(const keepsafe_service::Content& content);

/// Does again what a journal says, entry by entry. Faults of the journal fail the test.
class JournalReplay {
public:
    /// A store has role 0 from the beginning, without an entry.
    JournalReplay();

    void add(std::int64_t revision, const std::string& what, const std::string& before,
             const std::string& after);

    [[nodiscard]] const Items& items() const noexcept { return items_; }
    [[nodiscard]] std::int64_t lastRevision() const noexcept { return lastRevision_; }

private:
    Items items_;
    std::int64_t lastRevision_ = 0;
};

} // namespace keepsafe_test

#endif
