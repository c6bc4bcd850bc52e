#include "jwt/bad_tokens/TokenCase.h"

namespace keepsafe_test {

namespace {

/// A token text of the wrong shape through the parser, as a token object and as an authorization token.
void add(TokenCases& cases, const std::string& words, const std::string& token, const lines::Lines& cause)
{
    cases.push_back(notVerifiedCase(words + ", verified", token, cause + lines::Lines{lines::NOT_SPLIT}));
    cases.push_back({words, token, entry_point::createJwt, 8002, entry_point::NO_OBJECT, cause});
    cases.push_back(
        {words + ", for its roles", token, entry_point::extractRoleIds, 8002, "",
         cause + lines::Lines{lines::error(lines::EXTRACT_TAG, "Failed to create JWT, error=8002")}});
}

const std::pair<const char*, std::string> WRONG_DOTS[] = {
    {"nothing", ""},
    {"one letter", "a"},
    {"a blank", " "},
    {"a line break", "\n"},
    {"a word", "token"},
    {"one dot alone", "."},
    {"a header and a dot", "a."},
    {"a dot and a payload", ".b"},
    {"two parts", "a.b"},
    {"two long parts", std::string(5000, 'a') + "." + std::string(5000, 'b')},
    {"three dots alone", "..."},
    {"a dot too many in front", ".a.b.c"},
    {"a dot too many at the end", "a.b.c."},
    {"a doubled dot", "a..b.c"},
    {"four parts", "a.b.c.d"},
    {"the five parts of an encrypted token", "a.b.c.d.e"},
    {"a thousand dots", std::string(1000, '.')},
    {"commas for dots", "a,b,c"},
    {"full stops of another script", "a\xE3\x80\x82"
                                     "b\xE3\x80\x82"
                                     "c"},
    {"zero bytes for dots", std::string("a\0b\0c", 5)},
    {"escaped dots", "a%2Eb%2Ec"},
};

const std::pair<const char*, std::string> EMPTY_PARTS[] = {
    {"two dots alone", ".."},     {"a header alone", "a.."},  {"a payload alone", ".b."},
    {"a signature alone", "..c"}, {"no signature", "a.e30."}, {"no payload", "a..c"},
    {"no header", ".e30.c"},
};

} // namespace

TokenCases shapeCases()
{
    TokenCases cases;
    for (const auto& [words, token] : WRONG_DOTS) {
        add(cases, words, token, {lines::WRONG_DOTS});
    }
    for (const auto& [words, token] : EMPTY_PARTS) {
        add(cases, words, token, {});
    }
    return cases;
}

} // namespace keepsafe_test
