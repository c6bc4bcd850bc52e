#ifndef KEEPSAFE_SERVICE_MONITOR_MONITOR_H
#define KEEPSAFE_SERVICE_MONITOR_MONITOR_H

#include <chrono>
#include <thread>

#include "monitor/MonitorAddress.h"
#include "monitor/service_metrics.h"
#include "server/HttpServer.h"

namespace keepsafe_service {

/// Answers monitoring systems of this host, by threads and limits of its own: what they ask, and how often,
/// holds up nothing of the service, and a busy service does not hold up them.
class Monitor {
public:
    /// Answers from here on. Throws `std::runtime_error` when the address cannot be listened on.
    Monitor(const MonitorAddress& address, const ServiceFigures& figures);
    ~Monitor();
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

private:
    [[nodiscard]] ServiceResponse answer(const ServiceRequest& request);
    void run();

    const MonitorAddress address_;
    const ServiceFigures figures_;
    std::chrono::steady_clock::time_point next_; ///< before this no request is answered
    HttpServer server_;
    std::thread thread_;
};

} // namespace keepsafe_service

#endif
