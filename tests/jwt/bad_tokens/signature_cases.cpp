#include <algorithm>
#include <array>
#include <cctype>
#include <memory>
#include <stdexcept>

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include "jwt/ManyPrimesKey.h"
#include "jwt/bad_tokens/TokenCase.h"

namespace keepsafe_test {

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

constexpr char PAYLOAD[] = R"({"sub":"alice","exp":32503680000000})";
constexpr char BASE64URL[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

/// A token of the host that is fine, and its pieces.
struct Original {
    std::string token = hostSigner().sign(PAYLOAD);
    std::string text = token.substr(0, token.rfind('.'));
    std::string header = text.substr(0, text.find('.'));
    std::string payload = text.substr(text.find('.') + 1);
    std::string signature = token.substr(text.size() + 1);
    std::string signatureBytes = hostSigner().signature(text);

    [[nodiscard]] std::string withSignature(const std::string& part) const { return text + '.' + part; }
    [[nodiscard]] std::string withBytes(const std::string& bytes) const
    {
        return withSignature(base64Url(bytes));
    }
};

std::string signedPartOf(const std::string& header) { return base64Url(header) + '.' + base64Url(PAYLOAD); }

Key keyOf(const std::string& privatePem)
{
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> memory(
        BIO_new_mem_buf(privatePem.data(), static_cast<int>(privatePem.size())), BIO_free_all);
    return {PEM_read_bio_PrivateKey(memory.get(), nullptr, nullptr, nullptr), EVP_PKEY_free};
}

/// A signature of any kind; `padding` 0 for keys that have none.
std::string signatureBy(const Key& key, const EVP_MD* digest, int padding, const std::string& text)
{
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_PKEY_CTX* keyContext = nullptr;
    std::array<unsigned char, 1024> bytes{};
    std::size_t length = bytes.size();
    const bool done = EVP_DigestSignInit(context.get(), &keyContext, digest, nullptr, key.get()) == 1 &&
                      (padding == 0 || EVP_PKEY_CTX_set_rsa_padding(keyContext, padding) == 1) &&
                      EVP_DigestSign(context.get(), bytes.data(), &length,
                                     reinterpret_cast<const unsigned char*>(text.data()), text.size()) == 1;
    if (!done) {
        throw std::runtime_error("cannot sign");
    }
    return {reinterpret_cast<const char*>(bytes.data()), length};
}

std::string hmac(const std::string& secret, const std::string& text)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    unsigned int length = 0;
    HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
         reinterpret_cast<const unsigned char*>(text.data()), text.size(), bytes.data(), &length);
    return {reinterpret_cast<const char*>(bytes.data()), length};
}

void addOtherAlgorithms(TokenCases& cases)
{
    for (const char* name : {"none", "None", "NONE", "nOnE"}) {
        const std::string text = signedPartOf(std::string(R"({"alg":")") + name + "\"}");
        const std::string words = std::string("the algorithm ") + name;
        cases.push_back(notVerifiedCase(words + " and no signature", text + '.', {lines::NOT_SPLIT}));
        cases.push_back(wrongSignatureCase(words + " and any signature", text + ".AAAA"));
        cases.push_back(acceptedCase(words + " and the host's signature",
                                     hostSigner().sign(std::string(R"({"alg":")") + name + "\"}", PAYLOAD)));
    }
    const std::string pem = hostSigner().publicKeyPem();
    const std::pair<const char*, std::string> secrets[] = {
        {"the public key as secret", pem},
        {"the public key's line as secret", pem.substr(0, pem.size() - 1)},
        {"the public key's bytes as secret", derOf(pem)},
        {"an empty secret", ""}};
    const std::string text = signedPartOf(R"({"alg":"HS256","typ":"JWT"})");
    for (const auto& [words, secret] : secrets) {
        cases.push_back(wrongSignatureCase(std::string("HS256 with ") + words,
                                           text + '.' + base64Url(hmac(secret, text))));
    }
    cases.push_back(acceptedCase("HS256 in the header and the host's signature",
                                 hostSigner().sign(R"({"alg":"HS256"})", PAYLOAD)));
}

void addOtherSignatures(TokenCases& cases, const Original& original)
{
    const Key key = keyOf(hostSigner().privateKeyPem());
    const auto by = [&](const EVP_MD* digest, int padding) {
        return original.withBytes(signatureBy(key, digest, padding, original.text));
    };
    cases.push_back(acceptedCase("RS256 made the long way", by(EVP_sha256(), RSA_PKCS1_PADDING)));
    cases.push_back(wrongSignatureCase("the digest SHA-1", by(EVP_sha1(), RSA_PKCS1_PADDING)));
    cases.push_back(wrongSignatureCase("the digest SHA-384", by(EVP_sha384(), RSA_PKCS1_PADDING)));
    cases.push_back(wrongSignatureCase("the digest SHA-512", by(EVP_sha512(), RSA_PKCS1_PADDING)));
    cases.push_back(wrongSignatureCase("the padding PSS", by(EVP_sha256(), RSA_PKCS1_PSS_PADDING)));
    const Key curve(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free);
    cases.push_back(wrongSignatureCase(
        "a key on a curve", original.withBytes(signatureBy(curve, EVP_sha256(), 0, original.text))));
    const auto signedAs = [&](const std::string& text) {
        return original.withBytes(hostSigner().signature(text));
    };
    cases.push_back(wrongSignatureCase("the payload part alone signed", signedAs(original.payload)));
    cases.push_back(wrongSignatureCase("the payload's bytes signed", signedAs(PAYLOAD)));
    cases.push_back(
        wrongSignatureCase("no dot in what was signed", signedAs(original.header + original.payload)));
    cases.push_back(wrongSignatureCase("a dot too many in what was signed", signedAs(original.text + '.')));
    cases.push_back(wrongSignatureCase("the signature of another token", signedAs(signedPartOf("{}"))));
    cases.push_back(
        wrongSignatureCase("an expired token that a stranger signed", strangerSigner().sign(R"({"exp":1})")));
}

void addOtherKeys(TokenCases& cases, const Original& original)
{
    cases.push_back(wrongSignatureCase("another key of 2048 bits", strangerSigner().sign(PAYLOAD)));
    const TokenSigner small = TokenSigner::generate(512);
    const ManyPrimesKey large(16384);
    cases.push_back(wrongSignatureCase("a key of 512 bits", small.sign(PAYLOAD)));
    cases.push_back(wrongSignatureCase("a key of 16384 bits", large.sign(PAYLOAD)));
    const auto withHostKey = [&](TokenCase wanted, const std::string& pem) {
        wanted.hostKey = pem;
        cases.push_back(std::move(wanted));
    };
    withHostKey(acceptedCase("a host key of 512 bits", small.sign(PAYLOAD)), small.publicKeyPem());
    withHostKey(wrongSignatureCase("a host key of 512 bits and a long signature", original.token),
                small.publicKeyPem());
    withHostKey(acceptedCase("a host key of 16384 bits", large.sign(PAYLOAD)), large.publicKeyPem());
    withHostKey(wrongSignatureCase("a host key of 16384 bits and a short signature", original.token),
                large.publicKeyPem());
    const lines::Lines unusable{lines::KEY_NOT_READ, lines::KEY_UNUSABLE};
    withHostKey(notVerifiedCase("a host key in an older block", original.token, unusable),
                asPkcs1(hostSigner().publicKeyPem()));
    withHostKey(notVerifiedCase("a host key on a curve", original.token, unusable), ellipticCurveKeyPem());
    withHostKey(notVerifiedCase("a private key for the host's", original.token, unusable),
                hostSigner().privateKeyPem());
    withHostKey(notVerifiedCase("a word for the host's key", original.token, unusable), "key");
}

void addChangedBytes(TokenCases& cases, const Original& original)
{
    const std::string& bytes = original.signatureBytes;
    const auto wrong = [&](const char* words, const std::string& changed) {
        cases.push_back(wrongSignatureCase(words, original.withBytes(changed)));
    };
    wrong("a signature without its last byte", bytes.substr(0, bytes.size() - 1));
    wrong("a signature without its first byte", bytes.substr(1));
    wrong("half a signature", bytes.substr(0, bytes.size() / 2));
    wrong("a signature of one byte", bytes.substr(0, 1));
    wrong("a zero byte behind the signature", bytes + '\0');
    wrong("a zero byte in front of the signature", '\0' + bytes);
    wrong("the signature twice", bytes + bytes);
    wrong("a mebibyte behind the signature", bytes + std::string(std::size_t{1024} * 1024, 'x'));
    wrong("a signature of zeros", std::string(bytes.size(), '\0'));
    wrong("a signature of ones", std::string(bytes.size(), '\xFF'));
    wrong("a signature that is the number one", std::string(bytes.size() - 1, '\0') + '\x01');
    wrong("the signature's bytes the wrong way round", {bytes.rbegin(), bytes.rend()});
    for (const auto& [words, at] : {std::pair{"the signature's first bit changed", std::size_t{0}},
                                    std::pair{"a bit in the signature's middle changed", bytes.size() / 2},
                                    std::pair{"the signature's last bit changed", bytes.size() - 1}}) {
        std::string changed = bytes;
        changed[at] = static_cast<char>(changed[at] ^ (at == 0 ? '\x80' : '\x01'));
        wrong(words, changed);
    }
}

/// The last character's four unused bits set otherwise.
std::string withTrailingBits(std::string part)
{
    const std::string alphabet = BASE64URL;
    char& last = part.back();
    last = alphabet[alphabet.find(last) ^ 0xFU];
    return part;
}

std::string replaced(std::string text, char from, char to)
{
    std::replace(text.begin(), text.end(), from, to);
    return text;
}

void addChangedCoding(TokenCases& cases, const Original& original)
{
    const std::string& part = original.signature;
    const auto accepted = [&](const char* words, const std::string& changed) {
        cases.push_back(acceptedCase(words, original.withSignature(changed)));
    };
    const auto wrong = [&](const char* words, const std::string& changed) {
        cases.push_back(wrongSignatureCase(words, original.withSignature(changed)));
    };
    accepted("a signature with padding", part + "==");
    accepted("a signature in the standard alphabet", replaced(replaced(part, '-', '+'), '_', '/'));
    accepted("a signature with other unused bits", withTrailingBits(part));
    accepted("four blanks in front of the signature", "    " + part);
    accepted("letters behind a zero byte behind the signature", part + "==" + std::string("\0AAA", 4));
    wrong("one blank in front of the signature", " " + part.substr(0, part.size() - 1));
    wrong("a line break in the signature", part.substr(0, 100) + '\n' + part.substr(101));
    wrong("a line break behind the signature", part + '\n');
    wrong("a zero byte in the signature", part.substr(0, 100) + '\0' + part.substr(101));
    wrong("a signature of punctuation", "!!!!");
    wrong("a signature in hexadecimal digits", "0123456789abcdef");
    for (const auto& [words, changed] :
         {std::pair{"a signature part of one character", std::string("A")},
          std::pair{"a signature part without its last character", part.substr(0, part.size() - 1)},
          std::pair{"a signature part with three more characters", part + "AAA"},
          std::pair{"a signature with three padding characters", part + "==="}}) {
        cases.push_back(notVerifiedCase(words, original.withSignature(changed),
                                        {lines::WRONG_LENGTH, lines::NOT_DECODED}));
    }
}

void addChangedText(TokenCases& cases, const Original& original)
{
    const auto wrong = [&](const char* words, const std::string& token) {
        cases.push_back(wrongSignatureCase(words, token));
    };
    const std::string signature = '.' + original.signature;
    wrong("another payload", base64Url(TokenSigner::RS256_HEADER) + '.' +
                                 base64Url(R"({"sub":"admin","exp":32503680000000})") + signature);
    wrong("another header", base64Url("{}") + '.' + original.payload + signature);
    wrong("header and payload swapped", original.payload + '.' + original.header + signature);
    wrong("a payload with padding", original.text + "=" + signature);
    wrong("a blank in front of the token", ' ' + original.token);
    wrong("the scheme's name in front of the token", "Bearer " + original.token);
    std::string capitals = original.token;
    std::transform(capitals.begin(), capitals.end(), capitals.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    wrong("the token in capitals", capitals);
    cases.push_back(notVerifiedCase("the token twice", original.token + '.' + original.token,
                                    {lines::WRONG_DOTS, lines::NOT_SPLIT}));
    cases.push_back(
        notVerifiedCase("the token with an empty signature", original.text + '.', {lines::NOT_SPLIT}));
}

/// What the host signs is accepted whatever the header holds.
void addSignedHeaders(TokenCases& cases)
{
    const std::pair<const char*, std::string> headers[] = {
        {"an empty object", "{}"},
        {"an array", "[]"},
        {"plain words", "plain words"},
        {"a zero byte", std::string(1, '\0')},
        {"a critical extension", R"({"crit":["x"],"x":1})"},
        {"a mebibyte", std::string(std::size_t{1024} * 1024, 'x')}};
    for (const auto& [words, header] : headers) {
        cases.push_back(acceptedCase(std::string("a signed header that is ") + words,
                                     hostSigner().sign(header, PAYLOAD)));
    }
    const std::pair<const char*, std::string> texts[] = {
        {"a signed header that is not base64", "!." + base64Url(PAYLOAD)},
        {"a signed payload with padding",
         base64Url("{}") + '.' + base64Url(std::string(PAYLOAD) + " ") + "=="}};
    for (const auto& [words, text] : texts) {
        cases.push_back(acceptedCase(words, text + '.' + base64Url(hostSigner().signature(text))));
    }
    const std::string impossible = base64Url("{}") + ".abcde";
    cases.push_back(refusedBehindSignatureCase(
        "a signed payload of an impossible length",
        impossible + '.' + base64Url(hostSigner().signature(impossible)), 20,
        {lines::WRONG_LENGTH, lines::parserSays("failed to create JWT, error=20")}));
    cases.push_back(
        notVerifiedCase("a signed payload that is empty", hostSigner().sign(""), {lines::NOT_SPLIT}));
}

} // namespace

TokenCases signatureCases()
{
    const Original original;
    TokenCases cases;
    cases.push_back(acceptedCase("nothing at all", original.token));
    addOtherAlgorithms(cases);
    addOtherSignatures(cases, original);
    addOtherKeys(cases, original);
    addChangedBytes(cases, original);
    addChangedCoding(cases, original);
    addChangedText(cases, original);
    addSignedHeaders(cases);
    return cases;
}

} // namespace keepsafe_test
