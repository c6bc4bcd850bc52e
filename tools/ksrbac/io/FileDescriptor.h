#ifndef KSRBAC_IO_FILEDESCRIPTOR_H
#define KSRBAC_IO_FILEDESCRIPTOR_H

#include <utility>

#include <unistd.h>

namespace ksrbac {

/// Owns an open descriptor, or none (-1).
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    ~FileDescriptor()
    {
        if (descriptor_ != -1) {
            close(descriptor_);
        }
    }

    [[nodiscard]] int get() const noexcept { return descriptor_; }

private:
    int descriptor_;
};

} // namespace ksrbac

#endif
