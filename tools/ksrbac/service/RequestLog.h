#ifndef KSRBAC_SERVICE_REQUESTLOG_H
#define KSRBAC_SERVICE_REQUESTLOG_H

#include <memory>
#include <string>
#include <vector>

#include <keepsafe/platform/log/log_sink.h>

namespace ksrbac {

/// A message that the library logged.
struct LoggedLine {
    int level;
    std::string tag;
    std::string text;
};

/// Listens to the process's log messages from level 8 on while it lives. Some of what a failure is about,
/// such as the service's own words, is told there and nowhere else. Messages that the threshold lets through
/// go on to the sink that was there before.
class RequestLog {
public:
    RequestLog();
    RequestLog(const RequestLog&) = delete;
    RequestLog& operator=(const RequestLog&) = delete;
    ~RequestLog();

    [[nodiscard]] std::vector<LoggedLine> lines() const;

private:
    class Sink;
    int threshold_;
    std::shared_ptr<Sink> sink_;
    std::shared_ptr<Tessara::Keepsafe::Platform::LogSink> before_;
};

} // namespace ksrbac

#endif
