#ifndef KSRBAC_TOKEN_HOSTKEY_H
#define KSRBAC_TOKEN_HOSTKEY_H

#include <string>

namespace ksrbac {

/// The host's public key for tokens, if it can be used.
struct HostKey {
    std::string pem; ///< meaningful when `status` is 0
    int status = 0;  ///< 12 or 13: the file cannot be opened or read; 8007: it does not hold such a key
};

HostKey loadHostKey();

} // namespace ksrbac

#endif
