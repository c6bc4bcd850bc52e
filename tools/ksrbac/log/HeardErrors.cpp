#include "log/HeardErrors.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <utility>

#include <keepsafe/platform/log/logmsg.h>

namespace ksrbac {

namespace Platform = Tessara::Keepsafe::Platform;

class HeardErrors::Sink final : public Platform::LogSink {
public:
    Sink(std::shared_ptr<LogSink> target, int threshold) : target_(std::move(target)), threshold_(threshold)
    {
    }

    void write(const Platform::LogRecord& record) noexcept override
    {
        if (record.level >= Platform::LOG_LEVEL_ERROR) {
            keep(record.text);
        }
        if (record.level >= threshold_) {
            target_->write(record);
        }
    }

    std::string first() const
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        return first_;
    }
    std::string last() const
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        return last_;
    }

private:
    void keep(std::string_view text) noexcept
    {
        try {
            const std::lock_guard<std::mutex> guard(mutex_);
            last_ = text;
            if (first_.empty()) {
                first_ = text;
            }
        } catch (const std::exception&) {
            return; // out of memory: the status has to do
        }
    }

    const std::shared_ptr<LogSink> target_;
    const int threshold_;
    mutable std::mutex mutex_;
    std::string first_;
    std::string last_;
};

HeardErrors::HeardErrors() : threshold_(Platform::logThreshold()), before_(Platform::setLogSink(nullptr))
{
    sink_ = std::make_shared<Sink>(before_, threshold_);
    Platform::setLogSink(sink_);
    Platform::setLogThreshold(std::min(threshold_, Platform::LOG_LEVEL_ERROR));
}

HeardErrors::~HeardErrors()
{
    Platform::setLogThreshold(threshold_);
    Platform::setLogSink(before_);
}

std::string HeardErrors::first() const { return sink_->first(); }
std::string HeardErrors::last() const { return sink_->last(); }

} // namespace ksrbac
