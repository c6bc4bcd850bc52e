#include <cerrno>
#include <memory>
#include <string>

#include <openssl/pem.h>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/status/status_codes.h>

#include "doctor/Examination.h"
#include "doctor/HeardLog.h"
#include "openssl_handles.h"
#include "read_file.h"
#include "token/HostKey.h"
#include "token/token_checks.h"

namespace ksrbac {

namespace Process = Tessara::Keepsafe::Process;
namespace Status = Tessara::Keepsafe::Status;

namespace {

constexpr char WHAT[] = "token key";
constexpr int LEAST_BITS = 2048;

std::string keyFile()
{
    return Tessara::Keepsafe::Platform::installationRoot() + "/var/global/tssec/jwtkeys/jwtPublicKey";
}

/// 0 for a text without a key.
int bitsOf(const std::string& pem)
{
    const Tessara::Keepsafe::BioHandle text(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    const Tessara::Keepsafe::KeyHandle key(PEM_read_bio_PUBKEY(text.get(), nullptr, nullptr, nullptr));
    return key ? EVP_PKEY_get_bits(key.get()) : 0;
}

void describeKey(const HostKey& key, const std::string& path, Examination& examination)
{
    const int bits = bitsOf(key.pem);
    const std::string text = path + " is an RSA key of " + std::to_string(bits) + " bits";
    if (bits < LEAST_BITS) {
        examination.warn(WHAT, text, "let the product's login use a key of at least 2048 bits");
    } else {
        examination.ok(WHAT, text);
    }
}

void addCheck(const TokenCheck& check, Examination& examination)
{
    const std::string what = std::string("token ") + check.name;
    switch (check.outcome) {
    case TokenCheck::Outcome::Passed:
        examination.ok(what, check.detail);
        break;
    case TokenCheck::Outcome::Failed:
        examination.fail(what, check.detail, "log in again for another token; see docs/tokens.md");
        break;
    case TokenCheck::Outcome::Unknown:
        examination.skip(what, check.detail);
        break;
    case TokenCheck::Outcome::Skipped:
        examination.skip(what, "an earlier check of the token was not passed");
        break;
    }
}

} // namespace

void checkTokenKey(Examination& examination)
{
    const std::string path = keyFile();
    const HeardLog log;
    int failure = 0;
    if (!Process::openTrustedFile(path, failure).isOpen()) {
        if (failure == ENOENT) {
            examination.fail(WHAT, path + " is missing: no session token is accepted",
                             "copy the public key of the product's login there");
        } else {
            examination.cannotRead(WHAT, path, failure);
        }
        return;
    }
    const HostKey key = loadHostKey();
    if (key.status == Status::SUCCESS) {
        describeKey(key, path, examination);
    } else {
        examination.fail(WHAT, path + " does not hold an RSA public key in PEM: " + log.reason("no key"),
                         "copy the public key of the product's login there");
    }
}

void checkToken(Examination& examination)
{
    if (!examination.scope.token) {
        return;
    }
    const HeardLog log;
    const TokenVerdict verdict = judgeToken(*examination.scope.token);
    examination.isTokenValid = verdict.isValid;
    for (const TokenCheck& check : verdict.checks) {
        addCheck(check, examination);
    }
}

} // namespace ksrbac
