#ifndef KEEPSAFE_PLATFORM_URI_PERCENT_ENCODE_H
#define KEEPSAFE_PLATFORM_URI_PERCENT_ENCODE_H

#include <string>

#include <keepsafe/platform/export/export.h>

/// \file
/// Percent encoding of one part of a URI (a path segment or a query value). `in` and `out` may be the same
/// object. Any thread. On failure `out` is left as it was; only `std::bad_alloc` is thrown.

/// Encodes every byte except the unreserved characters of RFC 3986, section 2.3 (letters, digits, `-`, `.`,
/// `_`, `~`) as `%` and two upper-case hex digits. Returns 0.
KEEPSAFE_API int percentEncodeUriPart(const std::string& in, std::string& out);

/// Decodes `%` and two hex digits of either case to the byte they encode and `+` to a space; other bytes are
/// copied. Returns 0, or 20 when a `%` is not followed by two hex digits.
KEEPSAFE_API int percentDecodeUriPart(const std::string& in, std::string& out);

#endif
