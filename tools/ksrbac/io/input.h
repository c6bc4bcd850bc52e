#ifndef KSRBAC_IO_INPUT_H
#define KSRBAC_IO_INPUT_H

#include <cstddef>
#include <string>

#include "Descriptor.h"

/// \file
/// Files and standard input. All throw `InputError` when the input cannot be read.

namespace ksrbac {

using Tessara::Keepsafe::Process::Descriptor;

/// What stands for standard input in place of a path.
inline constexpr char STANDARD_INPUT[] = "-";

/// The input's name for messages: the path, or `<stdin>`.
std::string inputName(const std::string& path);

/// Opens the file, or a copy of standard input for "-".
Descriptor openInput(const std::string& path);

/// Reads what is there, at most `size` bytes, and waits when there is nothing yet. Returns how many they are:
/// 0 at the end of the input.
std::size_t readSome(const Descriptor& input, const std::string& name, char* buffer, std::size_t size);

/// All of a file, or of standard input for "-". When there is more than `limit` bytes it reads one byte past
/// that and stops.
std::string readUpToLimit(const std::string& path, std::size_t limit);

} // namespace ksrbac

#endif
