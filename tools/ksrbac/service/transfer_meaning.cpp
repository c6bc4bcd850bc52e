#include "service/transfer_meaning.h"

namespace ksrbac {

namespace {

struct Meaning {
    int status;
    const char* text;
};

constexpr Meaning MEANINGS[] = {
    {2, "the request could not be prepared"},
    {3, "the server's name or the path cannot be part of a URL"},
    {6, "the server's name is not known"},
    {7, "the server cannot be reached"},
    {18, "the response ended early"},
    {27, "out of memory"},
    {28, "the time is over"},
    {35, "the TLS handshake failed"},
    {42, "the request was given up"},
    {52, "the server closed the connection without an answer"},
    {55, "the connection ended early, as it does when the server does not accept the host's certificate"},
    {56, "the connection ended early, as it does when the server does not accept the host's certificate"},
    {58, "the host's certificate or key cannot be used"},
    {60, "the server's certificate is not accepted"},
    {63, "the response is too long"},
    {77, "the CA certificates cannot be used"},
};

} // namespace

const char* transferMeaning(int status) noexcept
{
    for (const Meaning& meaning : MEANINGS) {
        if (meaning.status == status) {
            return meaning.text;
        }
    }
    return "the request failed";
}

} // namespace ksrbac
