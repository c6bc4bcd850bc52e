#include "service/RequestLog.h"

#include <algorithm>
#include <exception>
#include <mutex>

#include <keepsafe/platform/log/logmsg.h>

namespace ksrbac {

namespace Platform = Tessara::Keepsafe::Platform;

class RequestLog::Sink : public Platform::LogSink {
public:
    explicit Sink(int threshold) : threshold_(threshold) {}

    void forwardTo(std::shared_ptr<Platform::LogSink> next)
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        next_ = std::move(next);
    }

    void write(const Platform::LogRecord& record) noexcept override
    {
        try {
            const std::lock_guard<std::mutex> guard(mutex_);
            if (record.level >= Platform::LOG_LEVEL_NOTABLE) {
                lines_.push_back({record.level, std::string(record.tag), std::string(record.text)});
            }
            if (next_ && record.level >= threshold_) {
                next_->write(record);
            }
        } catch (const std::exception&) {
            return; // A line that finds no memory is missing in an explanation.
        }
    }

    std::vector<LoggedLine> lines()
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        return lines_;
    }

private:
    const int threshold_;
    std::mutex mutex_;
    std::shared_ptr<Platform::LogSink> next_;
    std::vector<LoggedLine> lines_;
};

RequestLog::RequestLog()
    : threshold_(Platform::logThreshold()), sink_(std::make_shared<Sink>(threshold_)),
      before_(Platform::setLogSink(sink_))
{
    sink_->forwardTo(before_);
    Platform::setLogThreshold(std::min(threshold_, Platform::LOG_LEVEL_NOTABLE));
}

RequestLog::~RequestLog()
{
    Platform::setLogThreshold(threshold_);
    Platform::setLogSink(before_);
}

std::vector<LoggedLine> RequestLog::lines() const { return sink_->lines(); }

} // namespace ksrbac
