#include <keepsafe/platform/status/status_codes.h>

#include <algorithm>
#include <array>
#include <string>

namespace {

namespace Status = Tessara::Keepsafe::Status;

struct Entry {
    int code;
    const char* text;
};

// INVARIANT: ascending codes; a lookup halves the table. docs/status_codes.md shows the same texts.
constexpr std::array<Entry, 20> TABLE = {{
    {Status::SUCCESS, "success"},
    {Status::BASE64_FAILED, "base64 decoding could not be set up"},
    {Status::CACHE_UNUSABLE, "an access cache, key file or lock file cannot be used"},
    {Status::FILE_UNREADABLE, "a file that is needed cannot be read"},
    {Status::INVALID_ARGUMENT, "an argument has a value that is not allowed"},
    {Status::OUT_OF_MEMORY, "not enough memory"},
    {Status::CONVERSION_FAILED, "a conversion or a request to a server failed"},
    {Status::NO_AUTHORIZATION_TOKEN, "no authorization token is stored for the session"},
    {Status::DATABASE_UNAVAILABLE, "the database is unreachable or refused a statement"},
    {Status::MALFORMED_DOCUMENT, "a document, name or token is malformed"},
    {Status::TOKEN_EXPIRED, "the token has expired"},
    {Status::TOKEN_INVALID, "the token is not valid"},
    {Status::PUBLIC_KEY_UNUSABLE, "the public key for tokens cannot be used"},
    {Status::REGISTRATION_ROLLED_BACK, "the registration was rolled back because its callback failed"},
    {Status::UNREGISTRATION_ROLLED_BACK, "the unregistration was rolled back because its callback failed"},
    {Status::COMMIT_FAILED, "the change could not be committed after its callback succeeded"},
    {Status::ROLLBACK_FAILED, "the change could not be rolled back after its callback failed"},
    {Status::STATE_UPDATE_FAILED, "the states of the objects could not be updated after the callback"},
    {Status::UNEXPECTED_RESPONSE, "a response has the wrong type or cannot be read"},
    {Status::NO_MORE_ROWS, "no more rows"},
}};

/// The HTTP client returns libcurl's errors. INVARIANT: ascending codes, none of the product's, which go
/// first.
constexpr std::array<Entry, 16> TRANSFERS = {{
    {2, "a request to a server could not be set up"},
    {3, "the address of a request is malformed"},
    {6, "the server's name cannot be looked up"},
    {7, "the server cannot be reached"},
    {18, "the response of a server ended early"},
    {27, "not enough memory for a request to a server"},
    {28, "a request to a server took too long"},
    {35, "the TLS handshake with a server failed"},
    {42, "a request to a server was ended by its caller"},
    {52, "a server closed the connection without a response"},
    {55, "a request could not be sent to a server"},
    {56, "the response of a server could not be received"},
    {58, "the host's certificate or key cannot be used"},
    {60, "the certificate of a server is not accepted"},
    {63, "the response of a server is too long"},
    {77, "the CA certificates cannot be used"},
}};
/// libcurl's errors are from 1 to this.
constexpr int LAST_TRANSFER = 99;

template <typename Table>
const char* find(const Table& table, int status)
{
    const auto* const entry =
        std::lower_bound(table.begin(), table.end(), status,
                         [](const Entry& candidate, int code) { return candidate.code < code; });
    return entry != table.end() && entry->code == status ? entry->text : nullptr;
}

} // namespace

std::string getECmsg(int status)
{
    for (const char* const text : {find(TABLE, status), find(TRANSFERS, status)}) {
        if (text != nullptr) {
            return text;
        }
    }
    const std::string number = std::to_string(status);
    return status > 0 && status <= LAST_TRANSFER
               ? "a request to a server failed with transfer status " + number
               : "status " + number + " has no message text";
}
