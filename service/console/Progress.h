#ifndef KEEPSAFE_SERVICE_CONSOLE_PROGRESS_H
#define KEEPSAFE_SERVICE_CONSOLE_PROGRESS_H

#include <cstdint>
#include <functional>
#include <string>

namespace keepsafe_service {

/// Receives the progress of a long operation: its current step, and how much of it is done. `total` is 0 when
/// it is not known.
using WorkProgress = std::function<void(const std::string& work, std::uint64_t done, std::uint64_t total)>;

} // namespace keepsafe_service

#endif
