#ifndef KEEPSAFE_TESTS_SANDBOX_ROOT_TESTROOT_H
#define KEEPSAFE_TESTS_SANDBOX_ROOT_TESTROOT_H

#include "root/RootLayout.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// A private folder, empty at first, and where things would be in it as an installation root.
struct TestRoot {
    TempDir folder;
    keepsafe_sandbox::RootLayout layout{folder.path()};
};

} // namespace keepsafe_test

#endif
