#include <memory>
#include <string>
#include <vector>

#include <jansson.h>

#include <keepsafe/jwt/JWT.h>
#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/jwt/JWTUtil.h>
#include <keepsafe/platform/status/status_codes.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "io/token_file.h"
#include "log/SilencedLog.h"
#include "output/Json.h"
#include "output/TextTable.h"
#include "output/escape.h"
#include "output/utc_time.h"
#include "token/HostKey.h"
#include "token/expiry.h"

namespace ksrbac {

using Tessara::Keepsafe::JWT;
using Tessara::Keepsafe::JWTSSLApi;
using Tessara::Keepsafe::JWTUtil;
namespace Status = Tessara::Keepsafe::Status;

namespace {

constexpr char DESCRIPTION[] =
    R"(Show what a token says, whether it is valid or not.

Prints whether the host's public key verifies the signature, the expiry, the
header, and every claim with times in UTC. Without a key it says that the
signature was not verified. Anybody can write a token that says anything:
believe claims only when the signature is verified. The signature itself is not
shown, so that the output cannot be used as a token.

Exit status: 0 shown, valid or not, 2 usage error, a file that cannot be read or
that holds no token, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac token show --json token)";

/// The result for the signature: a word for programs, and a sentence for people.
struct SignatureState {
    const char* word;
    std::string text;
};

/// The parts of a token, valid or not.
struct ShownToken {
    std::unique_ptr<JWT> jwt;
    std::string header; ///< decoded
    SignatureState signature;
};

SignatureState examineSignature(const std::string& token)
{
    const HostKey key = loadHostKey();
    if (key.status != Status::SUCCESS) {
        return {"not verified", "NOT VERIFIED: the host's public key cannot be used: status " +
                                    std::to_string(key.status) + ": " + getECmsg(key.status)};
    }
    if (!JWTSSLApi::verifyJWTSignature(token, key.pem)) {
        return {"wrong", "WRONG: not by the host's key; anybody may have written what follows"};
    }
    return {"verified", "verified with the host's key"};
}

std::string decoded(const std::string& part)
{
    unsigned char* bytes = nullptr;
    int length = 0;
    if (JWTSSLApi::B64DecodeURL(part, bytes, length) != Status::SUCCESS) {
        return "";
    }
    const std::unique_ptr<unsigned char[]> owner(bytes);
    return length > 0 ? std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length))
                      : "";
}

ShownToken takeApart(const std::string& token)
{
    const SilencedLog silence; // the output says what is wrong
    std::vector<std::string> parts;
    if (JWTUtil::tokenizeJWT(token, parts) != Status::SUCCESS) {
        throw InputError("the input is not a token: not three parts, none of them empty, joined by dots");
    }
    JWT* jwt = nullptr;
    const int status = JWT::createJWT(token, jwt);
    if (status != Status::SUCCESS) {
        throw InputError("the input is not a token: its payload is not a JSON object in base64url (status " +
                         std::to_string(status) + ")");
    }
    return {std::unique_ptr<JWT>(jwt), decoded(parts[0]), examineSignature(token)};
}

std::string jsonText(const json_t* value)
{
    struct Free {
        void operator()(char* text) const noexcept { std::free(text); }
    };
    const std::unique_ptr<char, Free> text(
        json_dumps(value, JSON_COMPACT | JSON_ENCODE_ANY | JSON_ENSURE_ASCII));
    if (!text) {
        throw std::bad_alloc();
    }
    return text.get();
}

bool isTimeClaim(const std::string& name) { return name == "exp" || name == "iat" || name == "nbf"; }

/// A claim's value for people, with non-printable bytes escaped.
std::string valueText(const std::string& name, const json_t* value)
{
    if (json_is_string(value)) {
        return escapeForMessage({json_string_value(value), json_string_length(value)});
    }
    std::string text = escapeForMessage(jsonText(value), 2000);
    if (json_is_integer(value) && isTimeClaim(name)) {
        text += " (" + utcTime(json_integer_value(value)) + ")";
    }
    return text;
}

void printText(const ShownToken& token, Console& console)
{
    TextTable table({TextTable::Align::Left, TextTable::Align::Left});
    table.addRow({"signature", token.signature.text});
    table.addRow({"expiry", readExpiry(*token.jwt).text});
    table.addRow({"header", token.header.empty() ? "not base64url" : escapeForMessage(token.header)});
    console.print(table.text() + "claims:\n");
    TextTable claims({TextTable::Align::Left, TextTable::Align::Left});
    // The library's getters borrow the payload for reading; iterating needs a pointer that could change it.
    auto* payload = const_cast<json_t*>(token.jwt->payload());
    const char* name = nullptr;
    json_t* value = nullptr;
    json_object_foreach(payload, name, value)
    {
        claims.addRow({"  " + escapeForMessage(name), valueText(name, value)});
    }
    console.print(claims.text());
}

void printJson(const ShownToken& token, Console& console)
{
    long long expiry = 0;
    bool isExpired = true;
    JsonObject line;
    line.add("signature", token.signature.word);
    if (token.jwt->getExpiry(expiry) == Status::SUCCESS &&
        token.jwt->isExpired(isExpired) == Status::SUCCESS) {
        line.add("expires", utcTime(expiry));
    }
    line.add("expired", isExpired)
        .add("header", token.header)
        .addJson("claims", jsonText(token.jwt->payload()));
    console.print(line.text() + '\n');
}

ExitStatus run(const std::string& tokenFile, bool json, Console& console)
{
    const ShownToken token = takeApart(readToken(tokenFile));
    const SilencedLog silence;
    (json ? printJson : printText)(token, console);
    return ExitStatus::Good;
}

} // namespace

Action addTokenShow(CLI::App& command)
{
    const auto tokenFile = std::make_shared<std::string>();
    describe(command, DESCRIPTION, EXAMPLE);
    addTokenFile(command, *tokenFile);
    return {[tokenFile](bool json, Console& console) { return run(*tokenFile, json, console); }};
}

} // namespace ksrbac
