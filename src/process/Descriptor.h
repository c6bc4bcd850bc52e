#ifndef KEEPSAFE_SRC_PROCESS_DESCRIPTOR_H
#define KEEPSAFE_SRC_PROCESS_DESCRIPTOR_H

#include <utility>

#include <unistd.h>

namespace Tessara::Keepsafe::Process {

/// Owns one descriptor, or none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    ~Descriptor()
    {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }

    [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }
    [[nodiscard]] int get() const noexcept { return descriptor_; }
    /// Gives up ownership of the descriptor.
    int release() noexcept { return std::exchange(descriptor_, -1); }

private:
    int descriptor_ = -1;
};

} // namespace Tessara::Keepsafe::Process

#endif
