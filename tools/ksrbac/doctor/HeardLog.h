#ifndef KSRBAC_DOCTOR_HEARDLOG_H
#define KSRBAC_DOCTOR_HEARDLOG_H

#include <memory>
#include <mutex>
#include <string>

#include <keepsafe/platform/log/log_sink.h>
#include <keepsafe/platform/log/logmsg.h>

namespace ksrbac {

/// Keeps the log messages of the libraries from their destination while it lives, and remembers the last one
/// of level 8 or above: it says why a step failed.
class HeardLog {
public:
    HeardLog() : ear_(std::make_shared<Ear>()), before_(Tessara::Keepsafe::Platform::setLogSink(ear_)) {}
    HeardLog(const HeardLog&) = delete;
    HeardLog& operator=(const HeardLog&) = delete;
    ~HeardLog() { Tessara::Keepsafe::Platform::setLogSink(before_); }

    /// The message; `otherwise` if there was none.
    [[nodiscard]] std::string reason(const std::string& otherwise) const
    {
        const std::string heard = ear_->last();
        return heard.empty() ? otherwise : heard;
    }

private:
    class Ear : public Tessara::Keepsafe::Platform::LogSink {
    public:
        void write(const Tessara::Keepsafe::Platform::LogRecord& record) noexcept override
        {
            if (record.level < Tessara::Keepsafe::Platform::LOG_LEVEL_NOTABLE) {
                return;
            }
            const std::lock_guard<std::mutex> one(mutex_);
            last_ = record.text;
        }
        std::string last()
        {
            const std::lock_guard<std::mutex> one(mutex_);
            return last_;
        }

    private:
        std::mutex mutex_;
        std::string last_;
    };

    std::shared_ptr<Ear> ear_;
    std::shared_ptr<Tessara::Keepsafe::Platform::LogSink> before_;
};

} // namespace ksrbac

#endif
