#include <keepsafe/platform/status/status_codes.h>

#include <algorithm>
#include <array>

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

} // namespace

std::string getECmsg(int status)
{
    const auto* const entry =
        std::lower_bound(TABLE.begin(), TABLE.end(), status,
                         [](const Entry& candidate, int code) { return candidate.code < code; });
    if (entry != TABLE.end() && entry->code == status) {
        return entry->text;
    }
    return "status " + std::to_string(status) + " has no message text";
}
