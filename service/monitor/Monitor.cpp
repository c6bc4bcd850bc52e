#include "monitor/Monitor.h"

#include <algorithm>
#include <exception>

#include <unistd.h>

#include <keepsafe/platform/log/logmsg.h>

#include "monitor/monitor_resources.h"

namespace keepsafe_service {

namespace {

constexpr char TAG[] = "Monitor";

/// From one answer to the next: whoever asks without end gets little of the processors' time, and whoever
/// asks beside him waits for no more than the other connections' answers.
constexpr std::chrono::milliseconds BETWEEN_ANSWERS{10};

ServerLimits monitorLimits()
{
    ServerLimits limits;
    limits.connections = 16;
    limits.strangers = 16;
    limits.workers = 1;
    limits.bodyBytes = 0;
    limits.header = std::chrono::milliseconds(2000);
    limits.response = std::chrono::milliseconds(2000);
    limits.idle = std::chrono::milliseconds(10'000);
    limits.goodbye = std::chrono::milliseconds(500);
    limits.stop = std::chrono::milliseconds(200);
    return limits;
}

} // namespace

Monitor::Monitor(const MonitorAddress& address, const ServiceFigures& figures)
    : address_(address), figures_(figures),
      server_({std::nullopt, address.listen(), address.text()},
              {[this](const ServiceRequest& request) { return answer(request); },
               [](const std::string& /*target*/) { return std::size_t(0); }},
              monitorLimits()),
      thread_([this] { run(); })
{
}

Monitor::~Monitor()
{
    server_.stop();
    thread_.join();
    if (!address_.path().empty()) {
        ::unlink(address_.path().c_str());
    }
}

ServiceResponse Monitor::answer(const ServiceRequest& request)
{
    std::this_thread::sleep_until(next_);
    ServiceResponse response = answerMonitor(request, figures_);
    next_ = std::chrono::steady_clock::now() + BETWEEN_ANSWERS;
    return response;
}

void Monitor::run()
{
    try {
        static_cast<void>(server_.run());
    } catch (const std::exception& error) {
        logmsgf(Tessara::Keepsafe::Platform::LOG_LEVEL_ERROR, TAG, "monitoring is not answered any more: %s",
                error.what());
    }
}

} // namespace keepsafe_service
