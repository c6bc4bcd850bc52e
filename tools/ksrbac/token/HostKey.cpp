#include "token/HostKey.h"

#include <memory>

#include <openssl/evp.h>

#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/jwt/JWTUtil.h>

namespace ksrbac {

using Tessara::Keepsafe::JWTSSLApi;
using Tessara::Keepsafe::JWTUtil;

HostKey loadHostKey()
{
    HostKey key;
    key.status = JWTUtil::loadJwtPublicKey(key.pem);
    if (key.status == 0) {
        EVP_PKEY* parsed = nullptr;
        key.status = JWTSSLApi::getEVPPublicKey(key.pem, parsed);
        EVP_PKEY_free(parsed);
    }
    return key;
}

} // namespace ksrbac
