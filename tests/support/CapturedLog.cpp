#include "support/CapturedLog.h"

#include <mutex>
#include <ostream>

namespace keepsafe_test {

namespace Platform = Tessara::Keepsafe::Platform;

std::ostream& operator<<(std::ostream& stream, const LogLine& line)
{
    return stream << '{' << line.level << ", \"" << line.tag << "\", \"" << line.text << "\"}";
}

class CapturedLog::Sink : public Platform::LogSink {
public:
    void write(const Platform::LogRecord& record) noexcept override
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        lines_.push_back({record.level, std::string(record.tag), std::string(record.text)});
    }

    std::vector<LogLine> lines(int level)
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        std::vector<LogLine> result;
        for (const LogLine& line : lines_) {
            if (line.level >= level) {
                result.push_back(line);
            }
        }
        return result;
    }

    void clear()
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        lines_.clear();
    }

private:
    std::mutex mutex_;
    std::vector<LogLine> lines_;
};

CapturedLog::CapturedLog(int threshold)
    : sink_(std::make_shared<Sink>()), before_(Platform::setLogSink(sink_)),
      thresholdBefore_(Platform::logThreshold())
{
    Platform::setLogThreshold(threshold);
}

CapturedLog::~CapturedLog()
{
    Platform::setLogThreshold(thresholdBefore_);
    Platform::setLogSink(before_);
}

std::vector<LogLine> CapturedLog::lines() const { return sink_->lines(0); }
std::vector<LogLine> CapturedLog::lines(int level) const { return sink_->lines(level); }
void CapturedLog::clear() { sink_->clear(); }

} // namespace keepsafe_test
