#ifndef KEEPSAFE_TESTS_SUPPORT_CAPTUREDLOG_H
#define KEEPSAFE_TESTS_SUPPORT_CAPTUREDLOG_H

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include <keepsafe/platform/log/log_sink.h>

namespace keepsafe_test {

struct LogLine {
    int level;
    std::string tag;
    std::string text;

    friend bool operator==(const LogLine& left, const LogLine& right)
    {
        return left.level == right.level && left.tag == right.tag && left.text == right.text;
    }
    friend std::ostream& operator<<(std::ostream& stream, const LogLine& line);
};

/// Takes the process's log messages of at least the given level while it lives, instead of the usual sink.
class CapturedLog {
public:
    explicit CapturedLog(int threshold = 0);
    ~CapturedLog();
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    /// All lines so far.
    [[nodiscard]] std::vector<LogLine> lines() const;
    /// The lines of at least the given level so far.
    [[nodiscard]] std::vector<LogLine> lines(int level) const;
    void clear();

private:
    class Sink;
    std::shared_ptr<Sink> sink_;
    std::shared_ptr<Tessara::Keepsafe::Platform::LogSink> before_;
    int thresholdBefore_;
};

} // namespace keepsafe_test

#endif
