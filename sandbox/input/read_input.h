#ifndef KEEPSAFE_SANDBOX_INPUT_READ_INPUT_H
#define KEEPSAFE_SANDBOX_INPUT_READ_INPUT_H

#include <cstddef>
#include <string>

namespace keepsafe_sandbox {

/// What messages call it: the path, or "<stdin>" for "-".
[[nodiscard]] std::string inputName(const std::string& path);

/// The whole content of a file or a pipe, or of standard input for "-". Throws `InputError` when it cannot be
/// read or has more than `mostBytes`.
[[nodiscard]] std::string readInput(const std::string& path, std::size_t mostBytes);

/// The same without white space at its end.
[[nodiscard]] std::string readTrimmedInput(const std::string& path, std::size_t mostBytes);

} // namespace keepsafe_sandbox

#endif
