#include "lock_holders.h"

#include <gtest/gtest.h>

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Platform::filelock::isExclusiveDataLock;

TEST(LockHolders, KnowTheLineOfAnExclusiveLockOnTheDataByte)
{
    EXPECT_TRUE(isExclusiveDataLock(
        "lock:\t1: OFDLCK  ADVISORY  WRITE -1 08:01:131 4611686018427387905 4611686018427387905"));
    EXPECT_TRUE(isExclusiveDataLock(
        "lock:\t1: OFDLCK  ADVISORY  WRITE -1 08:01:131 4611686018427387904 4611686018427387905"));
    EXPECT_TRUE(isExclusiveDataLock("lock:\t1: OFDLCK  ADVISORY  WRITE -1 08:01:131 0 EOF"));
}

TEST(LockHolders, AreNotThoseOfOtherLocks)
{
    for (const char* const line :
         {"lock:\t1: OFDLCK  ADVISORY  READ  -1 08:01:131 4611686018427387905 4611686018427387905",
          "lock:\t1: OFDLCK  ADVISORY  WRITE -1 08:01:131 4611686018427387904 4611686018427387904",
          "lock:\t1: POSIX  ADVISORY  WRITE 4711 08:01:131 4611686018427387905 4611686018427387905",
          "lock:\t1: OFDLCK  ADVISORY  WRITE -1 08:01:131 4611686018427387906 EOF",
          "lock:\t1: OFDLCK  ADVISORY  WRITE -1 08:01:131 x EOF", "pos:\t0", ""}) {
        EXPECT_FALSE(isExclusiveDataLock(line)) << line;
    }
}

} // namespace
} // namespace keepsafe_test
