#ifndef KSRBAC_REPORT_ROLE_NAMES_FILE_H
#define KSRBAC_REPORT_ROLE_NAMES_FILE_H

#include <cstdint>
#include <map>
#include <string>

namespace ksrbac {

/// The names of roles by their ids, from a file, or from standard input for "-": one role a line, its id, a
/// tab and its name. Empty lines are nothing. Throws `InputError` with the line.
[[nodiscard]] std::map<std::int32_t, std::string> readRoleNames(const std::string& path);

} // namespace ksrbac

#endif
