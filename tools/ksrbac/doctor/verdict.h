#ifndef KSRBAC_DOCTOR_VERDICT_H
#define KSRBAC_DOCTOR_VERDICT_H

#include <string>
#include <vector>

#include "doctor/Finding.h"
#include "exit_status.h"
#include "io/Console.h"

namespace ksrbac {

/// The exit statuses of plug-ins of monitoring systems.
enum class PlugInStatus : int { Ok = 0, Warning = 1, Critical = 2, Unknown = 3 };

/// A failure weighs more than a warning, and a warning more than what is not known.
PlugInStatus statusOf(const std::vector<Finding>& findings);

ExitStatus exitStatusOf(PlugInStatus status);

/// The line for a monitoring system, with what weighs most and comes first among that:
///
///     WARNING: 2 warnings, 14 ok: client certificate: host expires in 12 d, at 2026-12-04T10:00:00.000Z
std::string summaryOf(const std::vector<Finding>& findings);

/// The summary and the findings, one line for each and one for its remedy. The first word of a line is in the
/// colours of the console.
std::string reportText(const std::vector<Finding>& findings, const Console& console);

/// One JSON object for the summary, then one for each finding, one per line.
std::string reportJson(const std::vector<Finding>& findings);

} // namespace ksrbac

#endif
