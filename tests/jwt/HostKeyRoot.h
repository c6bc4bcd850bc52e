#ifndef KEEPSAFE_TESTS_JWT_HOSTKEYROOT_H
#define KEEPSAFE_TESTS_JWT_HOSTKEYROOT_H

#include <string>

#include "jwt/keys.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// A private installation root with a host's public key in its place.
class HostKeyRoot : public TempRoot {
public:
    explicit HostKeyRoot(const std::string& keyText = hostSigner().publicKeyPem());

    [[nodiscard]] std::string keyFile() const;
    /// Puts another key in its place, as a whole, as the product does.
    void replaceKey(const std::string& keyText) const;
};

} // namespace keepsafe_test

#endif
