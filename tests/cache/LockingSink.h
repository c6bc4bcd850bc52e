#ifndef KEEPSAFE_TESTS_CACHE_LOCKINGSINK_H
#define KEEPSAFE_TESTS_CACHE_LOCKINGSINK_H

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/log/log_sink.h>

#include "support/thrown.h"

namespace keepsafe_test {

/// A log that needs an exclusive lock for each line, as one does that waits for the writer.
class LockingSink : public Tessara::Keepsafe::Platform::LogSink {
public:
    explicit LockingSink(const std::string& lockPath) : lock_(FileLockManager::instance().getLock(lockPath))
    {
    }

    void write(const Tessara::Keepsafe::Platform::LogRecord& record) noexcept override
    {
        const std::string text(record.text);
        if (isLocking_) {
            return;
        }
        isLocking_ = true;
        try {
            const FileLockGuard guard(lock_, FileLock::EXCLUSIVE, 0, FileLock::DEFAULT_INTERVAL);
            ++lines;
        } catch (const EC_exception&) {
            ADD_FAILURE() << "logged while the lock is held: " << text;
        }
        isLocking_ = false;
    }

    int lines = 0;

private:
    FileLock lock_;
    bool isLocking_ = false;
};

/// The lines that a call that fails logs while nobody holds the lock.
template <typename Call>
int linesWithoutTheLock(const std::string& lockPath, const Call& call)
{
    const auto sink = std::make_shared<LockingSink>(lockPath);
    const auto before = Tessara::Keepsafe::Platform::setLogSink(sink);
    EXPECT_NE(thrownStatus(call), 0);
    Tessara::Keepsafe::Platform::setLogSink(before);
    return sink->lines;
}

} // namespace keepsafe_test

#endif
