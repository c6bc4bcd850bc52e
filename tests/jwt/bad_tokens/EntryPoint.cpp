#include "jwt/bad_tokens/EntryPoint.h"

#include <cstdlib>
#include <memory>
#include <set>

#include <keepsafe/jwt/JWT.h>
#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/jwt/ValidatingJwtParser.h>
#include <keepsafe/jwt/extract_subject.h>

namespace keepsafe_test::entry_point {

namespace {

using Tessara::Keepsafe::JWT;
using Text = std::unique_ptr<char, decltype(&std::free)>;

Result objectOf(int status, const JWT* made)
{
    const std::unique_ptr<const JWT> jwt(made);
    return {status, jwt ? AN_OBJECT : NO_OBJECT};
}

/// Asks a getter of the token's object.
template <typename Getter>
Result ask(const std::string& token, Getter getter)
{
    JWT* made = nullptr;
    const int status = JWT::createJWT(token, made);
    const std::unique_ptr<const JWT> jwt(made);
    return jwt ? getter(*jwt) : Result{status, NO_OBJECT};
}

std::string textOf(char* delivered, const char* instead)
{
    const Text text(delivered, std::free);
    return text ? text.get() : instead;
}

} // namespace

Result parseJwt(const std::string& token)
{
    JWT* made = nullptr;
    const int status = Tessara::Keepsafe::ValidatingJwtParser().parseJwt(token, made);
    return objectOf(status, made);
}

Result createJwt(const std::string& token)
{
    JWT* made = nullptr;
    const int status = JWT::createJWT(token, made);
    return objectOf(status, made);
}

Result getJwtId(const std::string& token)
{
    return ask(token, [](const JWT& jwt) {
        Result result{0, UNTOUCHED};
        result.status = jwt.getJwtId(result.delivered);
        return result;
    });
}

Result getSubject(const std::string& token)
{
    return ask(token, [](const JWT& jwt) {
        Result result{0, UNTOUCHED};
        result.status = jwt.getSubject(result.delivered);
        return result;
    });
}

Result getExpiry(const std::string& token)
{
    return ask(token, [](const JWT& jwt) {
        constexpr long long BEFORE = -7;
        long long exp = BEFORE;
        const int status = jwt.getExpiry(exp);
        return Result{status, exp == BEFORE ? UNTOUCHED : std::to_string(exp)};
    });
}

Result isExpired(const std::string& token)
{
    return ask(token, [](const JWT& jwt) {
        bool expired = false;
        const int status = jwt.isExpired(expired);
        return Result{status, expired ? "expired" : "lasting"};
    });
}

Result isMachineCheck(const std::string& token)
{
    bool isMachine = true;
    const int status = JWT::isMachineCheck(token, isMachine);
    return {status, isMachine ? "machine" : "no machine"};
}

Result extractSubject(const std::string& token) { return {0, textOf(JWT::extractSubject(token), "null")}; }

Result extractSubjectC(const std::string& token)
{
    char* first = nullptr;
    char* second = nullptr;
    char* third = nullptr;
    extractSubject_C(token.c_str(), &first, &second, &third);
    std::string texts = textOf(first, UNTOUCHED);
    texts += ',' + textOf(second, UNTOUCHED);
    texts += ',' + textOf(third, UNTOUCHED);
    return {0, texts};
}

Result extractRoleIds(const std::string& token)
{
    std::set<int> roles;
    const int status = Tessara::Keepsafe::Rbac::JWTHandler().extractRoleIds(token, roles);
    std::string texts;
    for (const int role : roles) {
        texts += std::to_string(role) + ' ';
    }
    return {status, texts};
}

} // namespace keepsafe_test::entry_point
