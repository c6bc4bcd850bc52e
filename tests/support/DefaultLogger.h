#ifndef KEEPSAFE_TESTS_SUPPORT_DEFAULTLOGGER_H
#define KEEPSAFE_TESTS_SUPPORT_DEFAULTLOGGER_H

#include <keepsafe/platform/log/KSLogger.h>

namespace keepsafe_test {

/// A logger of the given level that is the process's default one while it lives.
class DefaultLogger {
public:
    explicit DefaultLogger(int level) : logger_(level), before_(KSLogger::s_default.exchange(&logger_)) {}
    ~DefaultLogger() { KSLogger::s_default = before_; }
    DefaultLogger(const DefaultLogger&) = delete;
    DefaultLogger& operator=(const DefaultLogger&) = delete;

private:
    KSLogger logger_;
    KSLogger* before_;
};

} // namespace keepsafe_test

#endif
