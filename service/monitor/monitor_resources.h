#ifndef KEEPSAFE_SERVICE_MONITOR_MONITOR_RESOURCES_H
#define KEEPSAFE_SERVICE_MONITOR_MONITOR_RESOURCES_H

#include "monitor/service_metrics.h"
#include "resources/Exchange.h"

namespace keepsafe_service {

/// Answers GET and HEAD of `/health`, `/ready` and `/metrics`. Takes no lock that the service holds for
/// longer than a copy of some figures takes.
[[nodiscard]] ServiceResponse answerMonitor(const ServiceRequest& request, const ServiceFigures& figures);

} // namespace keepsafe_service

#endif
