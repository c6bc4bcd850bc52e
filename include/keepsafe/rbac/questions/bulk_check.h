#ifndef KEEPSAFE_RBAC_QUESTIONS_BULK_CHECK_H
#define KEEPSAFE_RBAC_QUESTIONS_BULK_CHECK_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/client/AccessChecker.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

/// \file
/// One checker asked about many objects at once: the same answers as `AccessChecker::checkAccess` one by one,
/// for less. The lock is taken for a row instead of an object, records are fetched from memory for many names
/// at a time, and names in ascending order share the walk down their common beginning.
///
/// Any thread, as for `checkAccess`. A checker of a class that is not the library's is asked object by
/// object.
///
/// Throws what `checkAccess` throws. There are no answers then: those that were given out are denials.

namespace Tessara::Keepsafe::Rbac {

/// What becomes of one object of a row. Treat everything except `Allowed` as a denial.
enum class Answer : std::uint8_t {
    Denied = 0,
    Allowed = 1,
    NotAName = 2, ///< the text is not the text form of a name, to the byte
};

/// Which state of the policy answers a row.
enum class RowState {
    /// The lock is released after about half a millisecond, so that a writer never waits longer than 1 ms for
    /// this row. The objects answered under one lock have one state; later ones may have a later state.
    PerPiece,
    /// One state answers the whole row. The writer waits until the end: a million objects take a second.
    WholeRow,
};

/// Answers for `count` objects: `answers` has room for as many.
KEEPSAFE_API void checkRow(const AccessChecker& checker, const ObjectNamespace* objects, std::size_t count,
                           Answer* answers, RowState state = RowState::PerPiece);

/// The same for names as text, which is neither parsed nor printed again: each is read once to see whether it
/// is a text form, as `ObjectNamespace::str` gives it. Another spelling of a name (such as `%41` for `A`) is
/// `NotAName`, also with a checker that allows everything.
KEEPSAFE_API void checkRow(const AccessChecker& checker, const std::string_view* texts, std::size_t count,
                           Answer* answers, RowState state = RowState::PerPiece);

[[nodiscard]] KEEPSAFE_API std::vector<Answer> checkRow(const AccessChecker& checker,
                                                        const std::vector<ObjectNamespace>& objects,
                                                        RowState state = RowState::PerPiece);
[[nodiscard]] KEEPSAFE_API std::vector<Answer> checkRow(const AccessChecker& checker,
                                                        const std::vector<std::string_view>& texts,
                                                        RowState state = RowState::PerPiece);

/// Removes the objects that are not allowed; the others keep their order. Without an answer, when it throws,
/// `objects` is as it was.
KEEPSAFE_API void keepAllowed(const AccessChecker& checker, std::vector<ObjectNamespace>& objects,
                              RowState state = RowState::PerPiece);

} // namespace Tessara::Keepsafe::Rbac

#endif
