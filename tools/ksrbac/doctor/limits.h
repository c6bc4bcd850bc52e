#ifndef KSRBAC_DOCTOR_LIMITS_H
#define KSRBAC_DOCTOR_LIMITS_H

#include <cstdint>

namespace ksrbac {

/// Whether so many free bytes are too few: less than 64 MiB, or less than a hundredth of the file system.
[[nodiscard]] bool isSpaceLow(std::uint64_t freeBytes, std::uint64_t allBytes) noexcept;

} // namespace ksrbac

#endif
