#ifndef KEEPSAFE_TESTS_SUPPORT_PRIVILEGEDCOPY_H
#define KEEPSAFE_TESTS_SUPPORT_PRIVILEGEDCOPY_H

#include <string>

#include "support/TempDir.h"

namespace keepsafe_test {

/// A copy of a program that has more rights than whoever starts it: it is set-group-ID. Throws
/// `std::runtime_error` when the caller is neither root nor in a second group, or the folder for temporary
/// files is mounted without such rights.
class PrivilegedCopy {
public:
    explicit PrivilegedCopy(const std::string& program);

    [[nodiscard]] std::string path() const { return folder_.path("program"); }

private:
    TempDir folder_;
};

} // namespace keepsafe_test

#endif
