#include "Receiver.h"

#include <algorithm>
#include <exception>

namespace Tessara::Keepsafe::Platform::http {
namespace {

/// Far more than the headers of any response need, including interim responses and trailers.
constexpr std::size_t MAX_HEADER_BYTES = 1U << 18U; // 256 KiB

bool startsWith(std::string_view line, std::string_view lowerCase)
{
    const auto same = [](char expected, char found) {
        return expected == (found >= 'A' && found <= 'Z' ? found - 'A' + 'a' : found);
    };
    return line.size() >= lowerCase.size() &&
           std::equal(lowerCase.begin(), lowerCase.end(), line.begin(), same);
}

bool isChunkedHeader(std::string_view line)
{
    constexpr std::string_view NAME = "transfer-encoding:";
    if (!startsWith(line, NAME)) {
        return false;
    }
    line.remove_prefix(NAME.size());
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    return startsWith(line, "chunked");
}

/// "HTTP/1.1 204 No Content": such responses have no body.
bool isOfAStatusWithoutBody(std::string_view statusLine)
{
    const std::size_t space = std::min(statusLine.find(' '), statusLine.size());
    const std::string_view status = statusLine.substr(space, 4);
    return status == " 204" || status == " 304";
}

} // namespace

void Head::take(std::string_view line) noexcept
{
    if (startsWith(line, "http/")) {
        *this = {};
        hasNoBody_ = isOfAStatusWithoutBody(line);
    }
    ended_ = ended_ || line == "\r\n" || line == "\n";
    bodysEndIsMarked_ = bodysEndIsMarked_ || startsWith(line, "content-length:") || isChunkedHeader(line);
}

std::size_t Receiver::onBody(const char* data, std::size_t /*one*/, std::size_t size, void* self) noexcept
{
    return static_cast<Receiver*>(self)->takeBody({data, size});
}

std::size_t Receiver::onHeader(const char* data, std::size_t /*one*/, std::size_t size, void* self) noexcept
{
    return static_cast<Receiver*>(self)->takeHeader({data, size});
}

CURLcode Receiver::outcome(CURLcode status, std::string& reason) const
{
    if (refusal_ != CURLE_OK) {
        reason = curl_easy_strerror(refusal_);
        return refusal_;
    }
    if (status == CURLE_OK && !head_.showsWholeResponse()) {
        reason = "nothing shows that the response is whole";
        return CURLE_PARTIAL_FILE;
    }
    return status;
}

std::size_t Receiver::takeBody(std::string_view data) noexcept
{
    if (data.size() > bodyLimit_ - response_.body.size()) {
        return refuse(CURLE_FILESIZE_EXCEEDED);
    }
    try {
        response_.body.append(data);
    } catch (const std::exception&) {
        return refuse(CURLE_OUT_OF_MEMORY);
    }
    return data.size();
}

std::size_t Receiver::takeHeader(std::string_view line) noexcept
{
    if (line.size() > MAX_HEADER_BYTES - headerBytes_) {
        return refuse(CURLE_FILESIZE_EXCEEDED);
    }
    headerBytes_ += line.size();
    head_.take(line);
    return line.size();
}

std::size_t Receiver::refuse(CURLcode status) noexcept
{
    refusal_ = status;
    return 0;
}

} // namespace Tessara::Keepsafe::Platform::http
