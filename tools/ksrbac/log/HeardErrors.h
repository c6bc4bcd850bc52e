#ifndef KSRBAC_LOG_HEARDERRORS_H
#define KSRBAC_LOG_HEARDERRORS_H

#include <memory>
#include <string>

#include <keepsafe/platform/log/log_sink.h>

namespace ksrbac {

/// Keeps what the library logs at level 16 while it lives, which goes to the log as before: why an operation
/// failed that returns a status and no more.
class HeardErrors {
public:
    HeardErrors();
    HeardErrors(const HeardErrors&) = delete;
    HeardErrors& operator=(const HeardErrors&) = delete;
    ~HeardErrors();

    /// The first message since, which is the nearest to the cause; empty if there was none.
    [[nodiscard]] std::string first() const;
    /// The last message.
    [[nodiscard]] std::string last() const;

private:
    class Sink;

    int threshold_; ///< of the log, which may leave errors out
    std::shared_ptr<Tessara::Keepsafe::Platform::LogSink> before_;
    std::shared_ptr<Sink> sink_;
};

} // namespace ksrbac

#endif
