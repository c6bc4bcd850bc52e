#ifndef KEEPSAFE_PLATFORM_STATUS_STATUS_CODES_H
#define KEEPSAFE_PLATFORM_STATUS_STATUS_CODES_H

#include <string>

#include <keepsafe/platform/export/export.h>

/// Status codes of the product, by name. A function that returns `int` status returns one of these, or a code
/// that a server or the HTTP client chose. Only 0 means success.
namespace Tessara::Keepsafe::Status {

inline constexpr int SUCCESS = 0;
inline constexpr int BASE64_FAILED = 10;           ///< the base64 facility could not be set up
inline constexpr int CACHE_UNUSABLE = 12;          ///< an access cache, key file or lock file cannot be used
inline constexpr int FILE_UNREADABLE = 13;         ///< the operation cache or a key file cannot be read
inline constexpr int INVALID_ARGUMENT = 20;        ///< an argument has a value that is not allowed
inline constexpr int OUT_OF_MEMORY = 36;           ///< an access checker could not be allocated
inline constexpr int CONVERSION_FAILED = 114;      ///< a conversion or an HTTP exchange failed
inline constexpr int NO_AUTHORIZATION_TOKEN = 117; ///< no authorization token is stored for the session
inline constexpr int DATABASE_UNAVAILABLE = 220;   ///< the database is unreachable or a statement failed
inline constexpr int MALFORMED_DOCUMENT = 7610;  ///< a document, namespace text or token payload is malformed
inline constexpr int TOKEN_EXPIRED = 8001;       ///< the token's time of expiry has passed
inline constexpr int TOKEN_INVALID = 8002;       ///< the token is invalid or its signature was not verified
inline constexpr int PUBLIC_KEY_UNUSABLE = 8007; ///< the public key of the tokens cannot be used
inline constexpr int REGISTRATION_ROLLED_BACK = 8022;   ///< the callback failed; the registration was undone
inline constexpr int UNREGISTRATION_ROLLED_BACK = 8023; ///< the callback failed; the object stays registered
inline constexpr int COMMIT_FAILED = 8024;       ///< the callback succeeded; the commit or deletion failed
inline constexpr int ROLLBACK_FAILED = 8025;     ///< the callback failed, and so did undoing the first step
inline constexpr int STATE_UPDATE_FAILED = 8030; ///< the update of many objects after the callback failed
inline constexpr int UNEXPECTED_RESPONSE = 9103; ///< a response has the wrong type or is unreadable
inline constexpr int NO_MORE_ROWS = 2007031;     ///< the database layer's end of rows; not a failure

} // namespace Tessara::Keepsafe::Status

/// The message text of a status code, or of a transfer status of the HTTP client that no constant has. Others
/// give a text that contains the number. Any thread. Throws only `std::bad_alloc`.
KEEPSAFE_API std::string getECmsg(int status);

#endif
