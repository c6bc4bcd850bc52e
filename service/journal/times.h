#ifndef KEEPSAFE_SERVICE_JOURNAL_TIMES_H
#define KEEPSAFE_SERVICE_JOURNAL_TIMES_H

#include <chrono>
#include <optional>
#include <string>

/// \file
/// Moments as the journal keeps them: UTC with microseconds, always of the same length, so that texts are in
/// the order of time: "2026-01-31T23:59:59.000000Z".

namespace keepsafe_service {

[[nodiscard]] std::string journalTime(std::chrono::system_clock::time_point moment);

/// A time of RFC 3339, with any offset, in that form; digits below the microsecond are left out. Nothing when
/// it is none, or not within the years 0 to 9999.
[[nodiscard]] std::optional<std::string> journalTimeOf(const std::string& rfc3339);

} // namespace keepsafe_service

#endif
