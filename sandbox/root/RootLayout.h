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
    /// The sandbox's own files: accessible only to their owner.
    [[nodiscard]] std::string privateFolder() const { return root_ + "/var/sandbox"; }
    [[nodiscard]] std::string privateKey() const { return privateFolder() + "/signing-key.pem"; }
    [[nodiscard]] std::string database() const { return privateFolder() + "/auth_main.db"; }
    /// What the root's processes present to the master server, and whom they trust.
    [[nodiscard]] std::string tlsFolder() const { return root_ + "/etc/tls"; }
    [[nodiscard]] std::string hostCertificate() const { return tlsFolder() + "/host.pem"; }
    [[nodiscard]] std::string hostKey() const { return tlsFolder() + "/host.key"; }
    [[nodiscard]] std::string authorityCertificate() const { return tlsFolder() + "/ca.pem"; }
    /// What the sandbox's service presents, and the key that issues all certificates of the root.
    [[nodiscard]] std::string serviceTlsFolder() const { return privateFolder() + "/tls"; }
    [[nodiscard]] std::string serverCertificate() const { return serviceTlsFolder() + "/server.pem"; }
    [[nodiscard]] std::string serverKey() const { return serviceTlsFolder() + "/server.key"; }
    [[nodiscard]] std::string authorityKey() const { return serviceTlsFolder() + "/ca.key"; }

private:
    std::string root_;
};

/// A root that must be there, for commands that make none: a misspelt path must not become one. Throws
/// `InputError` when it is not a folder.
[[nodiscard]] RootLayout existingRoot(const std::string& root);

} // namespace keepsafe_sandbox

#endif
