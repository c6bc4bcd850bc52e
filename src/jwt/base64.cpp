#include <keepsafe/jwt/JWTSSLApi.h>

#include <cstddef>
#include <limits>
#include <memory>
#include <new>

#include <openssl/buffer.h>

#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

#include "openssl_handles.h"

namespace Tessara::Keepsafe {

namespace {

/// A base64 filter in front of `end`, which it takes over. Null when either is missing.
BioHandle base64Chain(BioHandle end)
{
    BioHandle filter(BIO_new(BIO_f_base64()));
    if (!filter || !end) {
        return nullptr;
    }
    BIO_set_flags(filter.get(), BIO_FLAGS_BASE64_NO_NL);
    BIO_push(filter.get(), end.release());
    return filter;
}

char toBase64(char character) noexcept
{
    character = character == '_' ? '/' : character;
    return character == '-' ? '+' : character;
}

/// Translates base64url's alphabet to base64's. The fixed-length loop becomes vector instructions; a branch
/// for each character would often be mispredicted.
void changeAlphabet(std::string& text)
{
    constexpr std::size_t BLOCK = 16;
    std::size_t at = 0;
    for (; text.size() - at >= BLOCK; at += BLOCK) {
        char* const block = &text[at];
        for (std::size_t i = 0; i < BLOCK; ++i) {
            block[i] = toBase64(block[i]);
        }
    }
    for (; at < text.size(); ++at) {
        text[at] = toBase64(text[at]);
    }
}

/// Pads base64 text to a multiple of four. False when no base64url text has such a length.
bool pad(std::string& text)
{
    switch (text.size() % 4) {
    case 0:
        return true;
    case 2:
        text += "==";
        return true;
    case 3:
        text += "=";
        return true;
    default:
        return false;
    }
}

} // namespace

int JWTSSLApi::B64Encode(const unsigned char* data, int length, std::string& out)
{
    const ErrorQueueMark errors;
    const BioHandle chain = base64Chain(BioHandle(BIO_new(BIO_s_mem())));
    if (!chain) {
        return Status::BASE64_FAILED;
    }
    if (BIO_write(chain.get(), data, length) <= 0 || BIO_flush(chain.get()) <= 0) {
        logmsgf(Platform::LOG_LEVEL_ERROR, "JWTSSL::B64Encode", "Could not write data to be encoded");
        return Status::BASE64_FAILED;
    }
    const BUF_MEM* encoded = nullptr;
    BIO_get_mem_ptr(chain.get(), &encoded);
    if (encoded == nullptr) {
        return Status::BASE64_FAILED;
    }
    out.assign(encoded->data, encoded->length);
    return Status::SUCCESS;
}

int JWTSSLApi::B64Decode(const std::string& in, unsigned char*& out, int& outLength)
{
    const ErrorQueueMark errors;
    out = nullptr;
    if (in.size() <= static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        out = new (std::nothrow) unsigned char[in.size()]();
    }
    if (out == nullptr) {
        logmsgf(Platform::LOG_LEVEL_ERROR, "JWTSSL::B64Decode", "Failed to allocate memory to outbuff.");
        return Status::BASE64_FAILED;
    }
    const BioHandle chain = base64Chain(BioHandle(BIO_new_mem_buf(in.c_str(), -1)));
    if (!chain) {
        delete[] out;
        out = nullptr;
        return Status::BASE64_FAILED;
    }
    outLength = BIO_read(chain.get(), out, static_cast<int>(in.size()));
    return Status::SUCCESS;
}

int JWTSSLApi::B64DecodeURL(const std::string& in, unsigned char*& out, int& outLength)
{
    constexpr char TAG[] = "JWTSSLApi::B64DecodeURL";
    out = nullptr;
    std::string text;
    text.reserve(in.size() + 2); // the padding
    text = in;
    changeAlphabet(text);
    if (!pad(text)) {
        logmsgf(Platform::LOG_LEVEL_ERROR, TAG, "Base64 string is invalid");
        return Status::INVALID_ARGUMENT;
    }
    const int status = B64Decode(text, out, outLength);
    if (status != Status::SUCCESS) {
        logmsgf(Platform::LOG_LEVEL_ERROR, TAG, "Failure to decode base64URL string");
    }
    return status;
}

} // namespace Tessara::Keepsafe
