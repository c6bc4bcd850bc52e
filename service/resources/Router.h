#ifndef KEEPSAFE_SERVICE_RESOURCES_ROUTER_H
#define KEEPSAFE_SERVICE_RESOURCES_ROUTER_H

#include <cstddef>
#include <string>
#include <vector>

#include "accesscontrol/AccessControl.h"
#include "resources/Exchange.h"
#include "resources/RequestTarget.h"

namespace keepsafe_service {

/// Longest body of a request: for one resource, and for those that carry many.
constexpr std::size_t MOST_BODY_BYTES = std::size_t(8) * 1024 * 1024;
constexpr std::size_t MOST_BULK_BODY_BYTES = std::size_t(64) * 1024 * 1024;

/// A request that has found its resource.
struct ResourceCall {
    AccessControl& accessControl;
    const RequestTarget& target;
    std::vector<std::string> names; ///< the segments of the path that name something, decoded
    const std::string& body;
    const Author client;
};

using ResourceHandler = ServiceResponse (*)(const ResourceCall& call);

/// A method of a resource. `path` is the segments; "*" matches one that names something.
struct Route {
    const char* method;
    std::vector<std::string> path;
    ResourceHandler handle;
};

/// The routes of all resources.
[[nodiscard]] std::vector<Route> roleRoutes();
[[nodiscard]] std::vector<Route> objectRoutes();
[[nodiscard]] std::vector<Route> registrationRoutes();
[[nodiscard]] std::vector<Route> changeRoutes();

/// Answers requests: whatever comes, the response is the wanted document or an error document. Any thread.
class Router {
public:
    /// `accessControl` must outlive the object.
    explicit Router(AccessControl& accessControl);

    [[nodiscard]] ServiceResponse answer(const ServiceRequest& request) const;

    /// The resource that a target names, for figures: "roles/ID" as "roles/*"; "other" when there is none.
    [[nodiscard]] std::string resourceOf(const std::string& target) const;

    /// How long the body of a request to this target may be.
    [[nodiscard]] static std::size_t mostBodyBytes(const std::string& target);

private:
    [[nodiscard]] ServiceResponse route(const ServiceRequest& request) const;

    AccessControl& accessControl_;
    std::vector<Route> routes_;
};

} // namespace keepsafe_service

#endif
