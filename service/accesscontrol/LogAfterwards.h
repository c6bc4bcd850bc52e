#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_LOGAFTERWARDS_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_LOGAFTERWARDS_H

#include <string>

#include <keepsafe/platform/log/logmsg.h>

namespace keepsafe_service {

/// Takes a line while a mutex is held and logs it at its end: declared before the mutex is locked, it does so
/// after the mutex has been released, and a log that is stuck holds up nobody else.
class LogAfterwards {
public:
    explicit LogAfterwards(const char* tag) noexcept : tag_(tag) {}
    ~LogAfterwards()
    {
        if (!line_.empty()) {
            logmsgf(level_, tag_, "%s", line_.c_str());
        }
    }
    LogAfterwards(const LogAfterwards&) = delete;
    LogAfterwards& operator=(const LogAfterwards&) = delete;

    void set(int level, std::string line) noexcept
    {
        level_ = level;
        line_ = std::move(line);
    }

private:
    const char* tag_;
    int level_ = 0;
    std::string line_;
};

} // namespace keepsafe_service

#endif
