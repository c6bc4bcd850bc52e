#ifndef KEEPSAFE_TESTS_SERVICE_SERVER_BAD_REQUESTS_H
#define KEEPSAFE_TESTS_SERVICE_SERVER_BAD_REQUESTS_H

#include <cstddef>
#include <string>
#include <vector>

namespace keepsafe_test {

/// A request that is refused, with what its error document has to say.
struct BadRequest {
    const char* name;
    std::string text;
    int status;
    const char* message; ///< as JSON
};

/// The longest body that these requests count on.
constexpr std::size_t BAD_REQUESTS_MOST_BODY = 1000;

/// Requests with which one reader could see another end, or another request, than the next reader.
[[nodiscard]] std::vector<BadRequest> badRequests();

} // namespace keepsafe_test

#endif
