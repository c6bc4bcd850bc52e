#ifndef KEEPSAFE_FUZZ_MASTERSERVERROOT_H
#define KEEPSAFE_FUZZ_MASTERSERVERROOT_H

#include <filesystem>
#include <fstream>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/log_sink.h>

#include "PrivateFolder.h"
#include "require.h"

/// A root whose configuration names a master server, with logging off.
class MasterServerRoot {
public:
    MasterServerRoot()
    {
        std::filesystem::create_directories(folder_.path() + "/etc");
        std::ofstream file(folder_.path() + "/etc/keepsafe.toml");
        file << "master_server = \"master.example\"\n" << std::flush;
        require(file.good(), "the configuration can be written");
        Tessara::Keepsafe::Platform::setInstallationRoot(folder_.path());
        Tessara::Keepsafe::Platform::setLogThreshold(1000);
    }

private:
    PrivateFolder folder_;
};

#endif
