#include "root/signing_keys.h"

#include <optional>

#include "cachewriter/FileSystem.h"
#include "cachewriter/errors.h"
#include "root/new_file.h"

namespace keepsafe_sandbox {

namespace {

std::optional<TokenSigner> findSigner(const RootLayout& layout)
{
    const std::string path = layout.privateKey();
    const std::optional<std::string> pem = readWhole(path);
    if (!pem) {
        return std::nullopt;
    }
    requireOwnerOnly(path);
    try {
        TokenSigner signer = TokenSigner::fromPrivateKeyPem(*pem);
        if (signer.keyBits() < TokenSigner::DEFAULT_KEY_BITS) {
            throw InputError("a key of " + std::to_string(signer.keyBits()) + " bits is too short; " +
                             std::to_string(TokenSigner::DEFAULT_KEY_BITS) + " are needed");
        }
        return signer;
    } catch (const InputError& error) {
        throw InputError(path + ": " + error.what());
    }
}

} // namespace

MadeKeys ensureSigningKeys(const RootLayout& layout)
{
    // In this order, the reverse of that in which they are made: a public key that another process has just
    // made then has its private key.
    const std::optional<std::string> publicPem = readWhole(layout.publicKey());
    std::optional<TokenSigner> signer = findSigner(layout);
    if (publicPem && !signer) {
        throw InputError(layout.publicKey() + " is there, but not the private key that belongs to it, " +
                         layout.privateKey() + ": move the public key away, or bring the private key back");
    }
    MadeKeys made;
    if (!signer) {
        signer = TokenSigner::generate();
        made.privateKey = createFile(layout.privateKey(), OWNER_ONLY, signer->privateKeyPem());
        if (!made.privateKey) {
            signer = loadSigner(layout); // another process was faster
        }
    }
    if (publicPem && *publicPem != signer->publicKeyPem()) {
        throw InputError(layout.publicKey() + " does not belong to the private key " + layout.privateKey() +
                         ": move the one away that is wrong");
    }
    if (!publicPem) {
        made.publicKey = createFile(layout.publicKey(), EVERYBODY, signer->publicKeyPem());
    }
    return made;
}

TokenSigner loadSigner(const RootLayout& layout)
{
    std::optional<TokenSigner> signer = findSigner(layout);
    if (!signer) {
        throw InputError(layout.privateKey() + " is missing: run 'ksrbac-sandbox init --root " +
                         layout.root() + "' first");
    }
    return *signer;
}

} // namespace keepsafe_sandbox
