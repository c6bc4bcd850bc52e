#ifndef KEEPSAFE_TESTS_JWT_KEYS_H
#define KEEPSAFE_TESTS_JWT_KEYS_H

#include <string>
#include <string_view>

#include "tokens/TokenSigner.h"

namespace keepsafe_test {

using keepsafe_sandbox::base64Url;
using keepsafe_sandbox::TokenSigner;

/// The key of 2048 bits whose public half is the host's; made once per process.
const TokenSigner& hostSigner();
/// A key of 2048 bits that the host does not know.
const TokenSigner& strangerSigner();

/// A public key in a PEM block PUBLIC KEY, from its modulus (big-endian bytes) and the exponent 65537.
std::string publicKeyPem(std::string_view modulus);
/// The public key of a PEM block PUBLIC KEY in the older block RSA PUBLIC KEY.
std::string asPkcs1(const std::string& publicKeyPem);
/// The public key of a PEM block PUBLIC KEY without its armour.
std::string derOf(const std::string& publicKeyPem);
/// A new public key on the curve P-256.
std::string ellipticCurveKeyPem();

/// A token in compact form with a signature part that verifies with no key.
std::string unsignedToken(std::string_view payload);

/// The system's time, in milliseconds and to the second.
long long nowMs();
/// An "exp" that lasts longer than any test.
inline constexpr long long FAR_FUTURE_MS = 32503680000000;

} // namespace keepsafe_test

#endif
