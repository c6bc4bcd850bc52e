#ifndef KSRBAC_TOKEN_TOKEN_CHECKS_H
#define KSRBAC_TOKEN_TOKEN_CHECKS_H

#include <string>
#include <vector>

namespace ksrbac {

/// One of the checks that a token has to pass, in their order.
struct TokenCheck {
    enum class Outcome {
        Passed,
        Failed,
        Unknown, ///< the check could not be made
        Skipped, ///< an earlier one did not pass
    };
    const char* name;
    Outcome outcome;
    std::string detail;
};

struct TokenVerdict {
    bool isValid = false; ///< what `ValidatingJwtParser` said
    int status = 0;       ///< its status
    int keyStatus = 0;    ///< of the host's key, when that is why a check could not be made
    std::vector<TokenCheck> checks;
};

/// Asks the library whether the token is valid, and determines which of its checks fails. The library's
/// verdict decides.
TokenVerdict judgeToken(const std::string& token);

} // namespace ksrbac

#endif
