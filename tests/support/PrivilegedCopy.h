#ifndef KEEPSAFE_TESTS_SUPPORT_PRIVILEGEDCOPY_H
#define KEEPSAFE_TESTS_SUPPORT_PRIVILEGEDCOPY_H

#include <string>

#include "support/TempDir.h"

namespace keepsafe_test {

/// A copy of a program that has more rights than whoever starts it: it is set-group-ID. Throws
/// `std::runtime_error` when the caller may not make one, or the folder for temporary files is mounted
/// without such rights.
class PrivilegedCopy {
public:
    static constexpr char NEEDS[] = "needs root, or a user with a second group";
    /// Whether the caller is one of them.
    static bool mayBeMade();

    explicit PrivilegedCopy(const std::string& program);

    [[nodiscard]] std::string path() const { return folder_.path("program"); }

private:
    TempDir folder_;
};

} // namespace keepsafe_test

#endif
