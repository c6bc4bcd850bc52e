#ifndef KEEPSAFE_TESTS_JWT_BAD_TOKENS_ENTRYPOINT_H
#define KEEPSAFE_TESTS_JWT_BAD_TOKENS_ENTRYPOINT_H

#include <string>

/// The ways into the token code, all in one form: from the text of a token to a status and what was
/// delivered, in words.
namespace keepsafe_test::entry_point {

struct Result {
    int status;
    std::string delivered;
};

using EntryPoint = Result (*)(const std::string& token);

inline constexpr char NO_OBJECT[] = "no object";
inline constexpr char AN_OBJECT[] = "an object";
inline constexpr char UNTOUCHED[] = "untouched";

/// `ValidatingJwtParser::parseJwt`: `NO_OBJECT` or `AN_OBJECT`.
Result parseJwt(const std::string& token);
/// `JWT::createJWT`: the same.
Result createJwt(const std::string& token);

// The getters of a token that `createJWT` made; its status and `NO_OBJECT` when it made none.
Result getJwtId(const std::string& token);   ///< the text, or `UNTOUCHED`
Result getSubject(const std::string& token); ///< the text, or `UNTOUCHED`
Result getExpiry(const std::string& token);  ///< the number, or `UNTOUCHED`
Result isExpired(const std::string& token);  ///< "expired" or "lasting"

Result isMachineCheck(const std::string& token); ///< "machine" or "no machine"
Result extractSubject(const std::string& token); ///< status 0; the text, or "null"
/// `extractSubject_C`: status 0; its outputs in their order, each the text or `UNTOUCHED`, joined by commas.
Result extractSubjectC(const std::string& token);
Result extractRoleIds(const std::string& token); ///< the ids, ascending, each followed by a blank

} // namespace keepsafe_test::entry_point

#endif
