#ifndef KEEPSAFE_TESTS_RBAC_API_FAILINGALLOCATION_H
#define KEEPSAFE_TESTS_RBAC_API_FAILINGALLOCATION_H

#include <memory>

#include <keepsafe/platform/log/log_sink.h>

namespace keepsafe_test {

/// Makes an allocation of this thread fail while it lives: the one of the number, from 0 on, among those of
/// C++ code and of Jansson. If it is one of Jansson's, later ones of Jansson fail too: its parser (2.14)
/// leaves out a character, and says nothing, when the buffer of a token cannot grow in one moment and can in
/// the next. A program that links this replaces its allocation functions.
class FailingAllocation {
public:
    explicit FailingAllocation(int number);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// Whether there was such an allocation.
    [[nodiscard]] static bool happened();
};

/// Has every log line formatted and thrown away while it lives, without memory of its own.
class DiscardedLog {
public:
    DiscardedLog() { Tessara::Keepsafe::Platform::setLogThreshold(0); }
    ~DiscardedLog()
    {
        Tessara::Keepsafe::Platform::setLogThreshold(thresholdBefore_);
        Tessara::Keepsafe::Platform::setLogSink(before_);
    }
    DiscardedLog(const DiscardedLog&) = delete;
    DiscardedLog& operator=(const DiscardedLog&) = delete;

private:
    class Sink : public Tessara::Keepsafe::Platform::LogSink {
    public:
        void write(const Tessara::Keepsafe::Platform::LogRecord& /*record*/) noexcept override {}
    };
    std::shared_ptr<Tessara::Keepsafe::Platform::LogSink> before_ =
        Tessara::Keepsafe::Platform::setLogSink(std::make_shared<Sink>());
    int thresholdBefore_ = Tessara::Keepsafe::Platform::logThreshold();
};

} // namespace keepsafe_test

#endif
