#ifndef KEEPSAFE_TESTS_SERVICE_MONITOR_ASK_MONITOR_H
#define KEEPSAFE_TESTS_SERVICE_MONITOR_ASK_MONITOR_H

#include <string>

#include "support/Descriptor.h"

namespace keepsafe_test {

/// A connection to a monitoring address: "127.0.0.1:9156" or "unix:/path". Descriptor -1 when there is none.
[[nodiscard]] Descriptor connectToMonitor(const std::string& address);

/// Sends the bytes and returns all that comes until the peer closes.
[[nodiscard]] std::string exchange(const Descriptor& connection, const std::string& bytes);

/// The response to GET of a path, or to another method; `headers` are whole lines.
[[nodiscard]] std::string askMonitor(const std::string& address, const std::string& path,
                                     const std::string& headers = "", const std::string& method = "GET");

/// What is behind the header of a response.
[[nodiscard]] std::string bodyOf(const std::string& response);

} // namespace keepsafe_test

#endif
