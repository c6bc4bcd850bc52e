#ifndef KEEPSAFE_FUZZ_HOSTKEYFOLDER_H
#define KEEPSAFE_FUZZ_HOSTKEYFOLDER_H

#include <filesystem>
#include <fstream>
#include <string>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/log_sink.h>

#include "PrivateFolder.h"
#include "require.h"

/// An installation root of this process with a host's public key, and with logging off.
class HostKeyFolder {
public:
    explicit HostKeyFolder(const std::string& publicKeyPem)
    {
        namespace Platform = Tessara::Keepsafe::Platform;
        const std::filesystem::path keys = std::filesystem::path(folder_.path()) / "var/global/tssec/jwtkeys";
        std::filesystem::create_directories(keys);
        std::ofstream file(keys / "jwtPublicKey");
        file << publicKeyPem << std::flush;
        require(file.good(), "the host's key can be written");
        Platform::setInstallationRoot(folder_.path());
        Platform::setLogThreshold(1000);
    }

private:
    PrivateFolder folder_;
};

#endif
