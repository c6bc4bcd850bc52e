#include "report/html.h"

#include <array>
#include <cstddef>
#include <stdexcept>

#include <openssl/evp.h>

#include "printable.h"

namespace ksrbac {

namespace {

const char* entityOf(char c)
{
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return nullptr;
    }
}

} // namespace

std::string htmlText(std::string_view text)
{
    std::string escaped;
    for (const char c : Tessara::Keepsafe::Process::printable(text)) {
        const char* const entity = entityOf(c);
        if (entity != nullptr) {
            escaped += entity;
        } else {
            escaped += c;
        }
    }
    return escaped;
}

std::string scriptSafe(std::string_view json)
{
    std::string safe;
    safe.reserve(json.size());
    for (const char c : json) {
        // They occur inside of strings alone.
        if (c == '<') {
            safe += "\\u003c";
        } else if (c == '>') {
            safe += "\\u003e";
        } else if (c == '&') {
            safe += "\\u0026";
        } else {
            safe += c;
        }
    }
    return safe;
}

std::string hashSource(std::string_view content)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    if (EVP_Digest(content.data(), content.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    constexpr std::size_t ENOUGH = std::size_t{2} * EVP_MAX_MD_SIZE;
    std::array<unsigned char, ENOUGH> text{};
    const int textLength = EVP_EncodeBlock(text.data(), digest.data(), static_cast<int>(length));
    return "'sha256-" + std::string(text.begin(), text.begin() + textLength) + '\'';
}

} // namespace ksrbac
