#include "monitor/monitor_resources.h"

#include <string>
#include <vector>

#include "monitor/Exposition.h"
#include "printable.h"
#include "resources/RequestTarget.h"
#include "resources/error_documents.h"

namespace keepsafe_service {

namespace {

constexpr int GOOD = 200;
constexpr int UNAVAILABLE = 503;
constexpr char PLAIN_TEXT[] = "text/plain; charset=utf-8";
constexpr char JSON[] = "application/json";

std::string jsonText(const std::string& text)
{
    std::string json = "\"";
    for (const char c : Tessara::Keepsafe::Process::printable(text)) {
        if (c == '"' || c == '\\') {
            json += '\\';
        }
        json += c;
    }
    return json + '"';
}

/// A state and its reasons, as one line each or as a document.
ServiceResponse stateResponse(const ServiceRequest& request, int status, const std::string& state,
                              const std::vector<std::string>& reasons)
{
    ServiceResponse response;
    response.status = status;
    const bool isJson = request.accept.find(JSON) != std::string::npos;
    response.contentType = isJson ? JSON : PLAIN_TEXT;
    std::string list;
    for (const std::string& reason : reasons) {
        list += isJson ? (list.empty() ? "" : ",") + jsonText(reason)
                       : Tessara::Keepsafe::Process::printable(reason) + '\n';
    }
    response.body = isJson ? "{\"status\":" + jsonText(state) + ",\"reasons\":[" + list + "]}\n"
                           : (list.empty() ? state + '\n' : list);
    return response;
}

ServiceResponse health(const ServiceRequest& request, const ServiceHealth& health)
{
    const std::vector<std::string> faults = health.faults();
    return faults.empty() ? stateResponse(request, GOOD, "ok", {})
                          : stateResponse(request, UNAVAILABLE, "failing", faults);
}

ServiceResponse readiness(const ServiceRequest& request, const ServiceHealth& health)
{
    switch (health.phase()) {
    case ServiceHealth::Phase::Starting:
        return stateResponse(request, UNAVAILABLE, "starting", {});
    case ServiceHealth::Phase::Serving:
        return stateResponse(request, GOOD, "ready", {});
    case ServiceHealth::Phase::Ending:
        break;
    }
    return stateResponse(request, UNAVAILABLE, "ending", {});
}

} // namespace

ServiceResponse answerMonitor(const ServiceRequest& request, const ServiceFigures& figures)
{
    const std::string path = request.target.substr(0, request.target.find('?'));
    if (path != "/health" && path != "/ready" && path != "/metrics") {
        return protocolErrorResponse(404, "there is no resource " + shown(path) +
                                              ", only /health, /ready and /metrics");
    }
    if (request.method != "GET" && request.method != "HEAD") {
        ServiceResponse response = protocolErrorResponse(405, "monitoring knows GET and HEAD alone");
        response.allowedMethods = "GET, HEAD";
        return response;
    }
    if (path == "/health") {
        return health(request, figures.health);
    }
    if (path == "/ready") {
        return readiness(request, figures.health);
    }
    ServiceResponse response;
    response.status = GOOD;
    response.contentType = Exposition::MEDIA_TYPE;
    response.body = serviceMetrics(figures);
    return response;
}

} // namespace keepsafe_service
