#ifndef KSRBAC_IO_READ_INPUT_H
#define KSRBAC_IO_READ_INPUT_H

#include <cstddef>
#include <string>

namespace ksrbac {

/// All of a file, or of standard input for "-". When there is more than `limit` bytes it reads one byte past
/// that and stops. Throws `InputError`.
std::string readUpToLimit(const std::string& path, std::size_t limit);

} // namespace ksrbac

#endif
