#ifndef KSRBAC_IO_TOKEN_FILE_H
#define KSRBAC_IO_TOKEN_FILE_H

#include <cstddef>
#include <string>

namespace ksrbac {

/// Longest input that can be a token, in bytes.
inline constexpr std::size_t MOST_TOKEN_BYTES = 65536;

/// The token in a file, or on standard input for "-", without the white space at its end. Throws
/// `InputError`, which never shows a part of it, when the input cannot be read, is longer than a token, or
/// holds nothing.
std::string readToken(const std::string& path);

} // namespace ksrbac

#endif
