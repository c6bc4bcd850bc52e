#ifndef KEEPSAFE_SERVICE_MONITOR_SERVICE_METRICS_H
#define KEEPSAFE_SERVICE_MONITOR_SERVICE_METRICS_H

#include <chrono>
#include <string>

#include "accesscontrol/ControlFigures.h"
#include "monitor/RequestFigures.h"
#include "monitor/ServiceHealth.h"
#include "server/HttpServer.h"

namespace keepsafe_service {

/// All that is known about a service. What is referred to outlives the object.
struct ServiceFigures {
    const HttpServer& server;
    const ControlFigures& control;
    const RequestFigures& requests;
    const ServiceHealth& health;
    std::chrono::system_clock::time_point started;
    std::string version;
};

/// As metrics for monitoring systems; `docs/service.md` lists them.
[[nodiscard]] std::string serviceMetrics(const ServiceFigures& figures);

} // namespace keepsafe_service

#endif
