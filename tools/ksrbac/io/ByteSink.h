#ifndef KSRBAC_IO_BYTESINK_H
#define KSRBAC_IO_BYTESINK_H

#include <stdexcept>
#include <string>
#include <string_view>

namespace ksrbac {

/// Standard output could not be written; `what()` says why.
class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The reader of standard output has gone away: there is nobody left to print for.
class OutputClosed : public OutputError {
public:
    using OutputError::OutputError;
};

/// A destination for bytes.
class ByteSink {
public:
    ByteSink() = default;
    ByteSink(const ByteSink&) = delete;
    ByteSink& operator=(const ByteSink&) = delete;
    virtual ~ByteSink() = default;
    /// Takes all of the bytes or throws `OutputError`.
    virtual void write(std::string_view bytes) = 0;
};

/// Writes to an open descriptor that it does not own.
class DescriptorSink final : public ByteSink {
public:
    explicit DescriptorSink(int descriptor) noexcept : descriptor_(descriptor) {}
    void write(std::string_view bytes) override;

private:
    int descriptor_;
};

} // namespace ksrbac

#endif
