#ifndef KEEPSAFE_BENCH_TOKENS_BAREVERIFICATION_H
#define KEEPSAFE_BENCH_TOKENS_BAREVERIFICATION_H

#include <string>

namespace keepsafe_bench {

/// The unavoidable part of verifying a token: reading the key file, parsing its PEM text and
/// `EVP_VerifyFinal`. The signature is decoded beforehand, and only the outcome is checked.
class BareVerification {
public:
    BareVerification(std::string keyFile, const std::string& token);

    [[nodiscard]] bool once() const;

private:
    [[nodiscard]] std::string readKeyFile() const;

    std::string keyFile_;
    std::string signedText_;
    std::string signature_;
};

} // namespace keepsafe_bench

#endif
