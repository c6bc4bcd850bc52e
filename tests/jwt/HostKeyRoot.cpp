#include "jwt/HostKeyRoot.h"

#include <filesystem>

namespace keepsafe_test {

HostKeyRoot::HostKeyRoot(const std::string& keyText) { writeFile(keyFile(), keyText); }

std::string HostKeyRoot::keyFile() const { return path("var/global/tssec/jwtkeys/jwtPublicKey"); }

void HostKeyRoot::replaceKey(const std::string& keyText) const
{
    writeFile(keyFile() + ".new", keyText);
    std::filesystem::rename(keyFile() + ".new", keyFile());
}

} // namespace keepsafe_test
