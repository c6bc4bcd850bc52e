#ifndef KEEPSAFE_SANDBOX_ROOT_SIGNING_KEYS_H
#define KEEPSAFE_SANDBOX_ROOT_SIGNING_KEYS_H

#include <string>

#include "root/RootLayout.h"
#include "tokens/TokenSigner.h"

namespace keepsafe_sandbox {

/// Which files `ensureSigningKeys` made.
struct MadeKeys {
    bool privateKey = false;
    bool publicKey = false;
};

/// Makes the root's key pair where it is missing; a public key alone is made again from the private one.
/// Throws `InputError`, with everything as it was, when a file is there that does not belong to the other,
/// is no such key, has fewer than 2048 bits, or is a private key that others may read.
MadeKeys ensureSigningKeys(const RootLayout& layout);

/// The root's signer. Throws `InputError` when its private key is missing or unusable, as above.
TokenSigner loadSigner(const RootLayout& layout);

} // namespace keepsafe_sandbox

#endif
