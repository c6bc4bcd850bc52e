#include "jwt/ManyPrimesKey.h"

#include <array>
#include <cstddef>
#include <stdexcept>
#include <utility>

#include <openssl/sha.h>

#include "jwt/keys.h"

namespace keepsafe_test {

namespace {

constexpr unsigned long EXPONENT = 65537;
constexpr int PRIME_BITS = 512;

struct ContextRelease {
    void operator()(BN_CTX* context) const noexcept { BN_CTX_free(context); }
};
using Context = std::unique_ptr<BN_CTX, ContextRelease>;

void require(bool holds)
{
    if (!holds) {
        throw std::runtime_error("cannot calculate with large numbers");
    }
}

Bignum number(unsigned long value)
{
    Bignum made(BN_new());
    require(made && BN_set_word(made.get(), value) == 1);
    return made;
}

Bignum product(const Bignum& left, const Bignum& right, BN_CTX* context)
{
    Bignum result = number(0);
    require(BN_mul(result.get(), left.get(), right.get(), context) == 1);
    return result;
}

/// A prime whose predecessor has no factor in common with the exponent.
Bignum usablePrime(int bits)
{
    Bignum prime = number(0);
    do {
        require(BN_generate_prime_ex(prime.get(), bits, 0, nullptr, nullptr, nullptr) == 1);
    } while (BN_mod_word(prime.get(), EXPONENT) == 1);
    return prime;
}

/// The root of `message` modulo a prime.
Bignum rootModulo(const Bignum& message, const Bignum& prime, BN_CTX* context)
{
    const Bignum order = number(0);
    const Bignum exponent = number(0);
    Bignum root = number(0);
    require(BN_sub(order.get(), prime.get(), BN_value_one()) == 1 &&
            BN_mod_inverse(exponent.get(), number(EXPONENT).get(), order.get(), context) != nullptr &&
            BN_mod_exp(root.get(), message.get(), exponent.get(), prime.get(), context) == 1);
    return root;
}

/// RFC 8017 section 9.2: the digest of the text, padded to the length of the modulus.
std::string paddedDigest(std::string_view text, std::size_t length)
{
    constexpr std::string_view DIGEST_INFO("\x30\x31\x30\x0D\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x01\x05"
                                           "\x00\x04\x20",
                                           19);
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data());
    std::string end(1, '\0');
    end.append(DIGEST_INFO).append(digest.begin(), digest.end());
    return std::string("\0\x01", 2) + std::string(length - 2 - end.size(), '\xFF') + end;
}

} // namespace

ManyPrimesKey::ManyPrimesKey(int bits) : modulus_(number(1))
{
    const Context context(BN_CTX_new());
    while (bits - BN_num_bits(modulus_.get()) >= 2 * PRIME_BITS) {
        primes_.push_back(usablePrime(PRIME_BITS));
        modulus_ = product(modulus_, primes_.back(), context.get());
    }
    for (int missing = bits - BN_num_bits(modulus_.get());;) {
        Bignum last = usablePrime(missing);
        Bignum whole = product(modulus_, last, context.get());
        if (BN_num_bits(whole.get()) == bits) {
            primes_.push_back(std::move(last));
            modulus_ = std::move(whole);
            return;
        }
        missing += bits - BN_num_bits(whole.get());
    }
}

std::string ManyPrimesKey::publicKeyPem() const
{
    return keepsafe_test::publicKeyPem(modulusBytes(modulus_.get()));
}

std::string ManyPrimesKey::modulusBytes(const BIGNUM* value) const
{
    std::string bytes(static_cast<std::size_t>(BN_num_bytes(modulus_.get())), '\0');
    require(BN_bn2binpad(value, reinterpret_cast<unsigned char*>(bytes.data()),
                         static_cast<int>(bytes.size())) == static_cast<int>(bytes.size()));
    return bytes;
}

std::string ManyPrimesKey::sign(std::string_view payload) const
{
    const std::string signedText = base64Url(TokenSigner::RS256_HEADER) + '.' + base64Url(payload);
    return signedText + '.' + base64Url(signature(signedText));
}

/// RFC 8017 section 8.2.1, with the roots modulo the primes put together one after the other.
std::string ManyPrimesKey::signature(std::string_view signedText) const
{
    const std::string padded =
        paddedDigest(signedText, static_cast<std::size_t>(BN_num_bytes(modulus_.get())));
    const Context context(BN_CTX_new());
    const Bignum message(BN_bin2bn(reinterpret_cast<const unsigned char*>(padded.data()),
                                   static_cast<int>(padded.size()), nullptr));
    Bignum root = number(0);
    Bignum modulus = number(1);
    for (const Bignum& prime : primes_) {
        const Bignum next = rootModulo(message, prime, context.get());
        const Bignum step = number(0);
        const Bignum inverse = number(0);
        require(BN_mod_inverse(inverse.get(), modulus.get(), prime.get(), context.get()) != nullptr &&
                BN_mod_sub(step.get(), next.get(), root.get(), prime.get(), context.get()) == 1 &&
                BN_mod_mul(step.get(), step.get(), inverse.get(), prime.get(), context.get()) == 1);
        const Bignum addend = product(modulus, step, context.get());
        require(BN_add(root.get(), root.get(), addend.get()) == 1);
        modulus = product(modulus, prime, context.get());
    }
    return modulusBytes(root.get());
}

} // namespace keepsafe_test
