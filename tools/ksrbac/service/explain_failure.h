#ifndef KSRBAC_SERVICE_EXPLAIN_FAILURE_H
#define KSRBAC_SERVICE_EXPLAIN_FAILURE_H

#include <string>
#include <vector>

#include "service/RequestLog.h"

namespace ksrbac {

/// A status of the library in words: its number, what it means, and in parentheses what the log lines of the
/// failed operation add to that, such as the service's own message. Statuses of the HTTP client are told
/// apart from those of the product by the log.
std::string explainStatus(int status, const std::vector<LoggedLine>& lines);

/// The same of an operation in several steps: `reason` is what is known of its failure beside the log, and
/// may be empty; `refusal` what the service said last, if it refused.
std::string explainStatus(int status, const std::vector<LoggedLine>& lines, const std::string& reason,
                          const std::string& refusal);

} // namespace ksrbac

#endif
