/// What happens when the mutex of the operation caches cannot be taken. This program stands in for the
/// functions that take it.

#include <cerrno>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <keepsafe/cache/OperationCache.h>

#include "support/TempDir.h"

namespace {

bool readersFail = false;
bool writersFail = false;

using Take = int (*)(pthread_rwlock_t*);

Take original(const char* name) { return reinterpret_cast<Take>(dlsym(RTLD_NEXT, name)); }

} // namespace

int pthread_rwlock_rdlock(pthread_rwlock_t* mutex) noexcept
{
    static const Take take = original("pthread_rwlock_rdlock");
    return readersFail ? EAGAIN : take(mutex);
}

int pthread_rwlock_wrlock(pthread_rwlock_t* mutex) noexcept
{
    static const Take take = original("pthread_rwlock_wrlock");
    return writersFail ? EAGAIN : take(mutex);
}

namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationCache;

class OperationMutex : public testing::Test {
protected:
    OperationMutex() { keepsafe_test::writeFile(OperationCache::fileName(), R"({"|A|": 1})"); }
    void ask() { (void)cache_[ObjectNamespace("A")]; }

    keepsafe_test::TempRoot root_;
    OperationCache cache_;
};

TEST_F(OperationMutex, ThatCannotBeTakenToReadStopsTheProgram)
{
    EXPECT_DEATH(
        {
            readersFail = true;
            ask();
        },
        "Assertion `read_guard\\.locked\\(\\)' failed");
}

TEST_F(OperationMutex, ThatCannotBeTakenToWriteStopsTheProgram)
{
    EXPECT_DEATH(
        {
            writersFail = true;
            ask();
        },
        "Assertion `write_guard\\.locked\\(\\)' failed");
}

} // namespace
