// Base64 and base64url text: the properties of every decoding, agreement with a plain decoder on well-formed
// text, and the round trip.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <openssl/err.h>

#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/platform/log/log_sink.h>

#include "require.h"

namespace {

using Tessara::Keepsafe::JWTSSLApi;
using Decoder = int (*)(const std::string&, unsigned char*&, int&);

struct Decoding {
    int status;
    int length;
    std::string bytes;
};

Decoding decoding(Decoder decode, const std::string& text)
{
    unsigned char* out = nullptr;
    int length = 0;
    const int status = decode(text, out, length);
    require(ERR_peek_error() == 0, "the error queue is empty after decoding");
    if (status != 0) {
        require(out == nullptr, "a failure delivers no buffer");
        return {status, 0, ""};
    }
    const std::unique_ptr<const unsigned char[]> owner(out);
    const auto size = static_cast<std::size_t>(std::max(length, 0));
    require(size <= text.size() / 4 * 3 + 3, "three bytes come from four characters at most");
    require(size <= text.size(), "the bytes fit their buffer");
    require(std::all_of(out + size, out + text.size(), [](unsigned char byte) { return byte == 0; }),
            "zeros stand behind the bytes");
    return {status, length, {reinterpret_cast<const char*>(out), size}};
}

int valueOf(char c)
{
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    if (c == '+' || c == '-') {
        return 62;
    }
    if (c == '/' || c == '_') {
        return 63;
    }
    const std::size_t at = alphabet.find(c);
    return c == '\0' || at == std::string::npos ? -1 : static_cast<int>(at);
}

/// Drops the padding of a text whose length is a multiple of four.
std::string withoutPadding(std::string text)
{
    if (text.size() % 4 == 0) {
        for (int i = 0; i < 2 && !text.empty() && text.back() == '='; ++i) {
            text.pop_back();
        }
    }
    return text;
}

bool isWellFormed(const std::string& unpadded)
{
    return unpadded.size() % 4 != 1 &&
           std::all_of(unpadded.begin(), unpadded.end(), [](char c) { return valueOf(c) >= 0; });
}

/// One bit after the other, left-over bits dropped.
std::string plainlyDecoded(const std::string& unpadded)
{
    std::string bytes;
    unsigned byte = 0;
    unsigned bits = 0;
    for (const char c : unpadded) {
        for (int bit = 5; bit >= 0; --bit) {
            byte = (byte << 1U) | ((static_cast<unsigned>(valueOf(c)) >> static_cast<unsigned>(bit)) & 1U);
            if (++bits == 8) {
                bytes += static_cast<char>(byte);
                byte = 0;
                bits = 0;
            }
        }
    }
    return bytes;
}

void checkText(const std::string& text)
{
    (void)decoding(JWTSSLApi::B64Decode, text);
    const Decoding url = decoding(JWTSSLApi::B64DecodeURL, text);
    require((url.status == 20) == (text.size() % 4 == 1), "exactly an impossible length is status 20");
    require(url.status == 0 || url.status == 20, "the status of decoding is 0 or 20");
    const std::string unpadded = withoutPadding(text);
    if (isWellFormed(unpadded)) {
        require(url.bytes == plainlyDecoded(unpadded), "well-formed text decodes as a plain decoder does it");
    }
}

void checkRoundTrip(const std::string& bytes)
{
    std::string text = "as it was";
    const int status = JWTSSLApi::B64Encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                                            static_cast<int>(bytes.size()), text);
    require((status == 0) == !bytes.empty(), "anything but nothing can be encoded");
    if (status != 0) {
        require(status == 10 && text == "as it was", "a failure is status 10 and leaves the output alone");
        return;
    }
    require(text.size() == (bytes.size() + 2) / 3 * 4, "four characters stand for three bytes");
    require(decoding(JWTSSLApi::B64Decode, text).bytes == bytes, "decoding inverts encoding");
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    require(decoding(JWTSSLApi::B64DecodeURL, text).bytes == bytes, "padded base64url decodes to the same");
    require(decoding(JWTSSLApi::B64DecodeURL, withoutPadding(text)).bytes == bytes,
            "base64url without padding decodes to the same");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Tessara::Keepsafe::Platform::setLogThreshold(1000);
    const std::string input(data, data + size);
    checkText(input);
    checkRoundTrip(input);
    return 0;
}
