#ifndef KEEPSAFE_SANDBOX_ROOT_SIGNING_KEYS_H
#define KEEPSAFE_SANDBOX_ROOT_SIGNING_KEYS_H

#include <vector>

#include "root/RootLayout.h"
#include "root/ensure_pair.h"
#include "tokens/TokenSigner.h"

namespace keepsafe_sandbox {

/// Creates the root's key pair if it is missing; a missing public key is derived again from the private one.
/// The private key is created first. Throws `InputError`, with everything as it was, when a file is there
/// that does not belong to the other, is not such a key, has fewer than 2048 bits, or is a private key that
/// others may read.
std::vector<EnsuredFile> ensureSigningKeys(const RootLayout& layout);

/// The root's signer. Throws `InputError` when its private key is missing or unusable, as above.
TokenSigner loadSigner(const RootLayout& layout);

} // namespace keepsafe_sandbox

#endif
