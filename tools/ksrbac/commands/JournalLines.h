#ifndef KSRBAC_COMMANDS_JOURNALLINES_H
#define KSRBAC_COMMANDS_JOURNALLINES_H

#include <cstddef>
#include <utility>
#include <vector>

#include <keepsafe/rbac/api/Changes.h>

#include "io/Console.h"

namespace ksrbac {

/// Prints changes as they come, page by page: a journal may be long. People get a table, whose columns never
/// become narrower, programs a JSON object a line. The console must outlive it.
class JournalLines {
public:
    /// At most `limit` lines. `leastWidths` are those of the first columns of the table.
    JournalLines(bool json, std::size_t limit, Console& console, std::vector<std::size_t> leastWidths = {})
        : json_(json), left_(limit), console_(console), widths_(std::move(leastWidths))
    {
    }

    [[nodiscard]] bool wantsMore() const noexcept { return left_ > 0; }
    void print(const Tessara::Keepsafe::Rbac::ChangePage& page);

private:
    const bool json_;
    std::size_t left_;
    Console& console_;
    std::vector<std::size_t> widths_;
    bool isFirst_ = true;
};

} // namespace ksrbac

#endif
