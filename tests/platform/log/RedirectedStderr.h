#ifndef KEEPSAFE_TESTS_PLATFORM_LOG_REDIRECTEDSTDERR_H
#define KEEPSAFE_TESTS_PLATFORM_LOG_REDIRECTEDSTDERR_H

#include <string>

#include "support/TempDir.h"

namespace keepsafe_test {

/// Sends the process's standard error into a file while it lives.
class RedirectedStderr {
public:
    RedirectedStderr();
    ~RedirectedStderr();
    RedirectedStderr(const RedirectedStderr&) = delete;
    RedirectedStderr& operator=(const RedirectedStderr&) = delete;

    [[nodiscard]] std::string content() const;

private:
    TempDir folder_;
    int before_;
};

} // namespace keepsafe_test

#endif
