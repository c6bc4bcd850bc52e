#ifndef KEEPSAFE_TESTS_JWT_EXPECTED_LINES_H
#define KEEPSAFE_TESTS_JWT_EXPECTED_LINES_H

#include <cstddef>
#include <string>
#include <vector>

#include "support/CapturedLog.h"

namespace keepsafe_test {

inline std::vector<LogLine> operator+(std::vector<LogLine> left, const std::vector<LogLine>& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

} // namespace keepsafe_test

/// The log lines of the token code. Debug messages of verbosity 2 and the default logger's messages of level
/// 1 are records of level 4.
namespace keepsafe_test::lines {

using Lines = std::vector<LogLine>;

inline LogLine error(const std::string& tag, const std::string& text) { return {16, tag, text}; }
inline LogLine debug(const std::string& tag, const std::string& text) { return {4, tag, text}; }

inline constexpr char LOAD_KEY_TAG[] = "JWTSSLApi::loadJwtPublicKey";
inline constexpr char PUBLIC_KEY_TAG[] = "CSSLApi::getEVPPublicKey";
inline constexpr char VERIFY_TAG[] = "JWTSSLApi::verifyJWTSignature";
inline constexpr char HOST_KEY_TAG[] = "JWTSSLApi::verifyJWTSignatureUsingHostPublicKey";
inline constexpr char EXTRACT_TAG[] = "JWTHandler::extractRoleIds";

inline const LogLine KEY_FILE_OPENED = debug(LOAD_KEY_TAG, "successfully opened jwt public key file");
inline const LogLine KEY_FILE_READ = debug(LOAD_KEY_TAG, "successfully read jwt public key file");
inline const LogLine KEY_READ = debug(PUBLIC_KEY_TAG, "Create evp obj to hold our rsakey");
inline const LogLine KEY_NOT_READ = error(PUBLIC_KEY_TAG, "Could not read public key");
inline const LogLine KEY_UNUSABLE = error(VERIFY_TAG, "Failed to create EVP Key using PublicKey");
inline const LogLine VERIFYING = debug(VERIFY_TAG, "Extracted public key now verifying signature.");
inline const LogLine VERIFIED = debug(VERIFY_TAG, "Verification successful");
inline const LogLine NOT_VERIFIED = error(VERIFY_TAG, "Failed to verify signature.");
inline const LogLine NOT_SPLIT = error(VERIFY_TAG, "Invalid jwt token. Unable to tokenize jwt");
inline const LogLine NOT_DECODED = error(VERIFY_TAG, "Failed to decode Base64URL signature");
inline const LogLine HOST_VERIFIED =
    debug(HOST_KEY_TAG, "JWT Verification successful using host public key.");
inline const LogLine HOST_NOT_VERIFIED = error(HOST_KEY_TAG, "Verification of JWT failed");

inline const LogLine WRONG_DOTS = error("JWT::tokenizeJWT", "JWT Token is invalid");
inline const LogLine WRONG_LENGTH = error("JWTSSLApi::B64DecodeURL", "Base64 string is invalid");
inline const LogLine NOT_AN_OBJECT = error("JWT::loadJSON", "Error in loading json");

inline constexpr char NO_PAYLOAD[] = "JSON Payload Object is null. JWT Object is not initialized correctly";
inline constexpr char NOT_A_STRING[] = "JWT is invalid. JSON object is not of type string";
inline constexpr char JTI_NOT_A_STRING[] = "JWT is invalid. JTI claim JSON object is not of type string";
inline constexpr char NOT_AN_INTEGER[] = "JWT is invalid. JSON object is not of type integer";

/// A message of the validating parser, without the line number of its source location.
inline LogLine parserSays(const std::string& text)
{
    return debug("ValidatingJwtParser::parseJwt", text + "(ValidatingJwtParser.cpp)");
}

/// What the verification with the host's key writes when it succeeds.
inline Lines verified()
{
    return {KEY_FILE_OPENED, KEY_FILE_READ, KEY_READ, VERIFYING, VERIFIED, HOST_VERIFIED};
}

/// The same when it fails for the reason in `lines`.
inline Lines notVerified(const Lines& reason)
{
    return Lines{KEY_FILE_OPENED, KEY_FILE_READ} + reason + Lines{HOST_NOT_VERIFIED};
}

inline Lines wrongSignature() { return notVerified({KEY_READ, VERIFYING, NOT_VERIFIED}); }

/// Drops the line number from "(ValidatingJwtParser.cpp:NN)" at the end of a text.
inline Lines withoutLineNumbers(Lines lines)
{
    const std::string place = "(ValidatingJwtParser.cpp:";
    for (LogLine& line : lines) {
        const std::size_t at = line.text.rfind(place);
        const std::size_t digits = at + place.size();
        if (at != std::string::npos && digits < line.text.size() - 1 && line.text.back() == ')' &&
            line.text.find_first_not_of("0123456789", digits) == line.text.size() - 1) {
            line.text.erase(digits - 1, line.text.size() - digits);
        }
    }
    return lines;
}

} // namespace keepsafe_test::lines

#endif
