#ifndef KEEPSAFE_SERVICE_RESOURCES_REQUESTTARGET_H
#define KEEPSAFE_SERVICE_RESOURCES_REQUESTTARGET_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

/// \file
/// The target of a request, taken apart. What is wrong with it is thrown as `Refusal`.

namespace keepsafe_service {

/// A target of the service: its path behind "/keepsafe/access-control/", split at the slashes and then
/// decoded, so that an encoded slash stays inside its segment.
struct RequestTarget {
    std::vector<std::string> segments;
    std::optional<std::string> query; ///< behind the question mark, still encoded

    /// Throws `Unknown` for a path outside the service, `Malformed` for bad percent escapes.
    static RequestTarget parse(const std::string& target);

    /// The query's parameters by name, decoded; one without a value has an empty one. Throws `Invalid` for
    /// one that is not known or given twice.
    [[nodiscard]] std::map<std::string, std::string> parameters(const std::vector<std::string>& known) const;
    /// The filter of the query. No other parameter is known.
    [[nodiscard]] std::optional<std::string> filter() const;
    void expectNoQuery() const;
};

/// A segment as a namespace; `Malformed` when it is none.
[[nodiscard]] Tessara::Keepsafe::Rbac::ObjectNamespace namespaceOf(const std::string& segment);

/// The decimal text of an id: digits alone, without zeros in front, at most 2147483647. `what` names the id
/// in the message; anything else is `Invalid`.
[[nodiscard]] std::int32_t idOf(const std::string& text, const std::string& what);

/// A text of any bytes for a message: in quotes, shortened, what is not printable ASCII as percent escapes.
[[nodiscard]] std::string shown(const std::string& text);

} // namespace keepsafe_service

#endif
