#ifndef KSRBAC_CLI_SINCE_H
#define KSRBAC_CLI_SINCE_H

#include <chrono>
#include <string>

namespace ksrbac {

/// What the service takes as the begin of a list of changes, from what a person types: a duration back from
/// `now` ("90m", "24h", "7d", also in seconds and weeks), a date or a time of RFC 3339, or a revision. Throws
/// `InputError` that names the argument when it is none of them.
std::string parseSince(const std::string& name, const std::string& text,
                       std::chrono::system_clock::time_point now = std::chrono::system_clock::now());

} // namespace ksrbac

#endif
