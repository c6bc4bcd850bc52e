#ifndef KEEPSAFE_SERVICE_CONSOLE_PROGRESS_H
#define KEEPSAFE_SERVICE_CONSOLE_PROGRESS_H

#include <cstdint>
#include <functional>
#include <string>

namespace keepsafe_sandbox {

/// Is told what a long work is doing, and how much of it is done; a `total` of 0 when that is not known.
using WorkProgress = std::function<void(const std::string& work, std::uint64_t done, std::uint64_t total)>;

} // namespace keepsafe_sandbox

#endif
