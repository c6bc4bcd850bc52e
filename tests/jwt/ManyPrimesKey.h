#ifndef KEEPSAFE_TESTS_JWT_MANYPRIMESKEY_H
#define KEEPSAFE_TESTS_JWT_MANYPRIMESKEY_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <openssl/bn.h>

namespace keepsafe_test {

struct BignumRelease {
    void operator()(BIGNUM* number) const noexcept { BN_clear_free(number); }
};
using Bignum = std::unique_ptr<BIGNUM, BignumRelease>;

/// An RSA key of very many bits, made in under a second where the usual two primes take minutes: its modulus
/// is the product of primes of about 512 bits each. Good for tests alone.
class ManyPrimesKey {
public:
    explicit ManyPrimesKey(int bits);

    [[nodiscard]] int bits() const { return BN_num_bits(modulus_.get()); }
    [[nodiscard]] std::string publicKeyPem() const;
    /// The compact token of a payload, signed with RS256.
    [[nodiscard]] std::string sign(std::string_view payload) const;

private:
    [[nodiscard]] std::string signature(std::string_view signedText) const;
    [[nodiscard]] std::string modulusBytes(const BIGNUM* number) const;

    std::vector<Bignum> primes_;
    Bignum modulus_;
};

} // namespace keepsafe_test

#endif
