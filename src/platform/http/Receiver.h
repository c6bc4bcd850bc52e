#ifndef KEEPSAFE_SRC_PLATFORM_HTTP_RECEIVER_H
#define KEEPSAFE_SRC_PLATFORM_HTTP_RECEIVER_H

#include <cstddef>
#include <string>
#include <string_view>

#include <curl/curl.h>

#include "Response.h"

namespace Tessara::Keepsafe::Platform::http {

/// What the lines of a response's head say. If a connection ends in the head, or in a body without a marked
/// end, libcurl accepts it as a complete response, even without the TLS alert by which the server confirms
/// the end: anybody on the network path could truncate it there.
class Head {
public:
    /// A line as received, of an interim response, the response, or the trailers after its body.
    void take(std::string_view line) noexcept;
    [[nodiscard]] bool showsWholeResponse() const { return ended_ && (bodysEndIsMarked_ || hasNoBody_); }

private:
    bool ended_ = false;
    bool bodysEndIsMarked_ = false;
    bool hasNoBody_ = false;
};

/// Receives a response, up to its limits. No exception may pass through libcurl.
class Receiver {
public:
    Receiver(Response& response, std::size_t bodyLimit) : response_(response), bodyLimit_(bodyLimit) {}

    /// Functions of libcurl; `self` is the receiver, and `one` is 1.
    static std::size_t onBody(const char* data, std::size_t one, std::size_t size, void* self) noexcept;
    static std::size_t onHeader(const char* data, std::size_t one, std::size_t size, void* self) noexcept;

    /// The outcome of the transfer. `status` is libcurl's; `reason` is set if the error was not found by
    /// libcurl.
    [[nodiscard]] CURLcode outcome(CURLcode status, std::string& reason) const;

private:
    std::size_t takeBody(std::string_view data) noexcept;
    std::size_t takeHeader(std::string_view line) noexcept;
    std::size_t refuse(CURLcode status) noexcept;

    Response& response_;
    const std::size_t bodyLimit_;
    std::size_t headerBytes_ = 0;
    Head head_;
    CURLcode refusal_ = CURLE_OK;
};

} // namespace Tessara::Keepsafe::Platform::http

#endif
