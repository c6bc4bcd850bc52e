#ifndef KEEPSAFE_SANDBOX_ROOT_ROOTLAYOUT_H
#define KEEPSAFE_SANDBOX_ROOT_ROOTLAYOUT_H

#include <string>

namespace keepsafe_sandbox {

/// Where things are in an installation root.
class RootLayout {
public:
    /// `root` may be relative to the working directory. Throws `InputError` when it is empty.
    explicit RootLayout(const std::string& root);

    /// Absolute, without a slash at its end; empty for "/".
    [[nodiscard]] const std::string& root() const noexcept { return root_; }

    [[nodiscard]] std::string configuration() const { return root_ + "/etc/keepsafe.toml"; }
    [[nodiscard]] std::string logFile() const { return root_ + "/var/log/keepsafe.log"; }
    /// The folder of all access caches.
    [[nodiscard]] std::string accessCaches() const { return root_ + "/wmc/webserver/temp/access-caches"; }
    /// Where the library reads the key that session tokens must be signed with.
    [[nodiscard]] std::string publicKey() const { return root_ + "/var/global/tssec/jwtkeys/jwtPublicKey"; }
    /// The sandbox's own: open to their owner alone.
    [[nodiscard]] std::string privateFolder() const { return root_ + "/var/sandbox"; }
    [[nodiscard]] std::string privateKey() const { return privateFolder() + "/signing-key.pem"; }
    [[nodiscard]] std::string database() const { return privateFolder() + "/auth_main.db"; }

private:
    std::string root_;
};

} // namespace keepsafe_sandbox

#endif
