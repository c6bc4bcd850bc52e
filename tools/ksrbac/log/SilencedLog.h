#ifndef KSRBAC_LOG_SILENCEDLOG_H
#define KSRBAC_LOG_SILENCEDLOG_H

#include <memory>

#include <keepsafe/platform/log/log_sink.h>

namespace ksrbac {

/// Drops the process's log messages while it lives: their content is reported in another way.
class SilencedLog {
public:
    SilencedLog() : before_(Tessara::Keepsafe::Platform::setLogSink(std::make_shared<Nowhere>())) {}
    SilencedLog(const SilencedLog&) = delete;
    SilencedLog& operator=(const SilencedLog&) = delete;
    ~SilencedLog() { Tessara::Keepsafe::Platform::setLogSink(before_); }

private:
    class Nowhere : public Tessara::Keepsafe::Platform::LogSink {
    public:
        void write(const Tessara::Keepsafe::Platform::LogRecord& /*record*/) noexcept override {}
    };

    std::shared_ptr<Tessara::Keepsafe::Platform::LogSink> before_;
};

} // namespace ksrbac

#endif
