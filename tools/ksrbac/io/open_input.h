#ifndef KSRBAC_IO_OPEN_INPUT_H
#define KSRBAC_IO_OPEN_INPUT_H

#include <string>

#include "io/FileDescriptor.h"

namespace ksrbac {

/// What stands for standard input in place of a path.
inline constexpr char STANDARD_INPUT[] = "-";

/// The input's name for messages: the path, or `<stdin>`.
std::string inputName(const std::string& path);

/// Opens the file, or a copy of standard input for "-". Throws `InputError`.
FileDescriptor openInput(const std::string& path);

/// Throws the `InputError` for a system error.
[[noreturn]] void throwUnreadable(const std::string& name, int error);

} // namespace ksrbac

#endif
