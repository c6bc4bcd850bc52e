#ifndef KEEPSAFE_SRC_PLATFORM_LOG_DESCRIPTORSINK_H
#define KEEPSAFE_SRC_PLATFORM_LOG_DESCRIPTORSINK_H

#include <string>

#include <keepsafe/platform/log/log_sink.h>

#include "Descriptor.h"

namespace Tessara::Keepsafe::Platform::detail {

/// Writes lines to a descriptor, each with one `write`: lines of several threads and, where the descriptor
/// appends, of several processes do not mix, and there is no lock or buffer that a forked child could inherit
/// in the middle of another thread's message. If a line cannot be written (a full disk), it is lost.
class DescriptorSink : public LogSink {
public:
    void write(const LogRecord& record) noexcept override;

protected:
    explicit DescriptorSink(int descriptor) noexcept : descriptor_(descriptor) {}

private:
    int descriptor_;
};

/// Standard error, which stays open.
class StderrSink final : public DescriptorSink {
public:
    StderrSink() noexcept;
};

/// A file, which the sink opens and closes.
class FileSink final : public DescriptorSink {
public:
    explicit FileSink(const std::string& path);
    ~FileSink() override;

private:
    explicit FileSink(Process::Descriptor file) noexcept;

    Process::Descriptor file_;
};

} // namespace Tessara::Keepsafe::Platform::detail

#endif
