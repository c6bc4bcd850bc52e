#include "root/signing_keys.h"

#include <optional>

namespace keepsafe_sandbox {

using keepsafe_service::InputError;

namespace {

struct PrivateSigningKey {
    TokenSigner signer;

    static PrivateSigningKey generate() { return {TokenSigner::generate()}; }

    static PrivateSigningKey fromPem(const std::string& pem)
    {
        PrivateSigningKey key = {TokenSigner::fromPrivateKeyPem(pem)};
        if (key.signer.keyBits() < TokenSigner::DEFAULT_KEY_BITS) {
            throw InputError("a key of " + std::to_string(key.signer.keyBits()) + " bits is too short; " +
                             std::to_string(TokenSigner::DEFAULT_KEY_BITS) + " are needed");
        }
        return key;
    }

    [[nodiscard]] std::string pem() const { return signer.privateKeyPem(); }
};

struct PublicSigningKey {
    std::string text;

    static PublicSigningKey fromPem(const std::string& pem) { return {pem}; }
    [[nodiscard]] const std::string& pem() const { return text; }
    [[nodiscard]] bool belongsTo(const PrivateSigningKey& key) const
    {
        return text == key.signer.publicKeyPem();
    }
};

} // namespace

std::vector<EnsuredFile> ensureSigningKeys(const RootLayout& layout)
{
    std::vector<EnsuredFile> ensured;
    ensurePair<PrivateSigningKey>(
        {layout.privateKey(), layout.publicKey(), "public key"},
        [](const PrivateSigningKey& key) { return PublicSigningKey{key.signer.publicKeyPem()}; }, ensured);
    return ensured;
}

TokenSigner loadSigner(const RootLayout& layout)
{
    const std::optional<PrivateSigningKey> key = findKey<PrivateSigningKey>(layout.privateKey());
    if (!key) {
        throw InputError(layout.privateKey() + " is missing: run 'ksrbac-sandbox init --root " +
                         layout.root() + "' first");
    }
    return key->signer;
}

} // namespace keepsafe_sandbox
