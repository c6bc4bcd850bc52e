#include "resources/Router.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <optional>

#include <keepsafe/platform/log/logmsg.h>

#include "accesscontrol/Refusal.h"
#include "resources/error_documents.h"
#include "resources/response_documents.h"

namespace keepsafe_service {

namespace {

constexpr char TAG[] = "Router::answer";

/// What the path names, when it has the pattern's form.
std::optional<std::vector<std::string>> match(const std::vector<std::string>& pattern,
                                              const std::vector<std::string>& segments)
{
    if (pattern.size() != segments.size()) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == "*" && !segments[i].empty()) {
            names.push_back(segments[i]);
        } else if (pattern[i] != segments[i]) {
            return std::nullopt;
        }
    }
    return names;
}

ServiceResponse getAccessCache(const ResourceCall& call)
{
    call.target.expectNoQuery();
    (void)namespaceOf(call.names[0]); // any: the one cache covers them all
    return {200, accessCacheDocument(SERVICE_CACHE_ID), ""};
}

std::string mediaType(const std::string& contentType)
{
    std::string type;
    for (const char c : contentType.substr(0, contentType.find(';'))) {
        if (c != ' ' && c != '\t') {
            type += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        }
    }
    return type;
}

/// A body is JSON, plain or in the version of the product's interface that the client speaks.
bool isJsonType(const std::string& contentType)
{
    const std::string type = mediaType(contentType);
    return type.empty() || type == "application/json" || type == "application/vnd.keepsafe+json";
}

ServiceResponse methodNotAllowed(const std::string& method, const std::string& allowed)
{
    ServiceResponse response = protocolErrorResponse(405, "the resource does not know the method " +
                                                              shown(method) + ", only " + allowed);
    response.allowedMethods = allowed;
    return response;
}

} // namespace

Router::Router(AccessControl& accessControl) : accessControl_(accessControl)
{
    routes_.push_back({"GET", {"access-caches", "*"}, getAccessCache});
    for (std::vector<Route> routes : {roleRoutes(), objectRoutes(), registrationRoutes(), changeRoutes()}) {
        std::move(routes.begin(), routes.end(), std::back_inserter(routes_));
    }
}

std::size_t Router::mostBodyBytes(const std::string& target)
{
    return target.find("/access-control/bulk-") == std::string::npos ? MOST_BODY_BYTES : MOST_BULK_BODY_BYTES;
}

std::string Router::resourceOf(const std::string& target) const
{
    std::string name;
    try {
        const RequestTarget parsed = RequestTarget::parse(target);
        const auto found = std::find_if(routes_.begin(), routes_.end(), [&parsed](const Route& route) {
            return match(route.path, parsed.segments).has_value();
        });
        for (std::size_t i = 0; found != routes_.end() && i < found->path.size(); ++i) {
            name += (i == 0 ? "" : "/") + found->path[i];
        }
    } catch (const Refusal&) {
        // a target outside the service
    }
    return name.empty() ? "other" : name;
}

ServiceResponse Router::route(const ServiceRequest& request) const
{
    const RequestTarget target = RequestTarget::parse(request.target);
    std::string allowed;
    for (const Route& route : routes_) {
        const std::optional<std::vector<std::string>> names = match(route.path, target.segments);
        if (!names) {
            continue;
        }
        if (request.method != route.method) {
            allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
            continue;
        }
        if (request.body.size() > mostBodyBytes(request.target)) {
            return protocolErrorResponse(413, "the request's body is too long");
        }
        if (!request.body.empty() && !isJsonType(request.contentType)) {
            return protocolErrorResponse(415, "the body's media type " + shown(request.contentType) +
                                                  " is not application/json");
        }
        return route.handle({accessControl_, target, *names, request.body, {request.client}});
    }
    if (!allowed.empty()) {
        return methodNotAllowed(request.method, allowed);
    }
    throw Refusal(Refusal::Unknown,
                  "there is no resource " + shown(request.target.substr(0, request.target.find('?'))));
}

ServiceResponse Router::answer(const ServiceRequest& request) const
{
    ServiceResponse response;
    try {
        response = route(request);
    } catch (...) {
        response = responseFor(std::current_exception());
    }
    response.isCacheOutdated = !accessControl_.isPublished();
    constexpr int serverError = 500;
    const std::string call = request.method + " " + shown(request.target);
    if (response.status >= serverError) {
        logmsgf(Tessara::Keepsafe::Platform::LOG_LEVEL_ERROR, TAG, "%s; http status %d; %s", call.c_str(),
                response.status, response.body.c_str());
    } else {
        logmsgf(Tessara::Keepsafe::Platform::LOG_LEVEL_INFORMATION, TAG, "%s; http status %d", call.c_str(),
                response.status);
    }
    return response;
}

} // namespace keepsafe_service
