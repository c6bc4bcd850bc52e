#ifndef KSRBAC_OUTPUT_UTC_TIME_H
#define KSRBAC_OUTPUT_UTC_TIME_H

#include <string>

namespace ksrbac {

/// Milliseconds since the Unix epoch as a time of ISO 8601 in UTC: 2026-11-21T13:10:10.123Z.
std::string utcTime(long long milliseconds);

/// How far a time is from another, in at most two units: "in 7 h 59 min", "2 d 3 h ago", "now".
std::string timeFrom(long long nowMilliseconds, long long milliseconds);

} // namespace ksrbac

#endif
