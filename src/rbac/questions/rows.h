#ifndef KEEPSAFE_RBAC_QUESTIONS_ROWS_H
#define KEEPSAFE_RBAC_QUESTIONS_ROWS_H

#include <cstddef>
#include <string_view>
#include <vector>

#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/questions/bulk_check.h>

namespace Tessara::Keepsafe::Rbac {

/// The names of a row, as objects or as texts.
class RowNames {
public:
    explicit RowNames(const ObjectNamespace* objects) noexcept : objects_(objects) {}
    explicit RowNames(const std::string_view* texts) noexcept : texts_(texts) {}

    /// The name's text form; nothing for a text that is none. Computes that of an object if it is not known,
    /// and begins to fetch it from memory.
    [[nodiscard]] std::string_view textForm(std::size_t index) const;

    /// Begins to fetch a text that `textForm` will look at soon.
    void fetchText(std::size_t index) const noexcept;

    [[nodiscard]] ObjectNamespace object(std::size_t index) const;

private:
    const ObjectNamespace* objects_ = nullptr;
    const std::string_view* texts_ = nullptr;
};

/// A row of names, and its answers: those of a name beside each other, `stride` of them.
struct Row {
    RowNames names;
    std::size_t count;
    Answer* answers;
    std::size_t stride;
};

/// A checker, and which of the answers of a name is its own.
struct RowChecker {
    const AccessChecker* checker;
    std::size_t column;
};

/// The checker if it is the library's, and not of a derived class, which may decide in another way.
[[nodiscard]] const DiskAccessChecker* asDiskChecker(const AccessChecker& checker) noexcept;

/// Answers the columns of disk checkers, of at least one, that all have the same cache.
void askTogether(const std::vector<RowChecker>& checkers, const Row& row, RowState state);

/// Answers the column of any checker.
void askAlone(const RowChecker& checker, const Row& row, RowState state);

} // namespace Tessara::Keepsafe::Rbac

#endif
