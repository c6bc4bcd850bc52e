#include "jwt/bad_tokens/TokenCase.h"

namespace keepsafe_test {

namespace {

using entry_point::AN_OBJECT;
using entry_point::createJwt;
using entry_point::NO_OBJECT;

/// A payload part that decodes to an object.
TokenCase object(const std::string& words, const std::string& part)
{
    return {words, "a." + part + ".c", createJwt, 0, AN_OBJECT, {}};
}

/// A payload part of a length that base64url cannot have.
TokenCase impossible(const std::string& words, const std::string& part)
{
    return {words, "a." + part + ".c", createJwt, 20, NO_OBJECT, {lines::WRONG_LENGTH}};
}

/// A payload part that decodes to nothing, or not to an object.
TokenCase other(const std::string& words, const std::string& part)
{
    return {words, "a." + part + ".c", createJwt, 7610, NO_OBJECT, {lines::NOT_AN_OBJECT}};
}

void addLengths(TokenCases& cases)
{
    for (std::size_t blanks = 0; blanks < 12; ++blanks) {
        const std::string part = base64Url("{" + std::string(blanks, ' ') + "}");
        cases.push_back(object("a whole payload of " + std::to_string(part.size()) + " characters", part));
    }
    const std::string part = base64Url(R"({"sub":"alice"})");
    for (std::size_t length = 1; length < part.size(); ++length) {
        const std::string words = "a payload cut to " + std::to_string(length) + " characters";
        cases.push_back((length % 4 == 1 ? impossible : other)(words, part.substr(0, length)));
    }
    cases.push_back(impossible("a long payload with a character too many",
                               base64Url("{" + std::string(3000, ' ') + "} ").substr(0, 4001)));
}

void addPadding(TokenCases& cases)
{
    cases.push_back(object("the padding that is due", "e30="));
    cases.push_back(impossible("one padding character too many", "e30=="));
    cases.push_back(object("two padding characters too many", "e30==="));
    cases.push_back(object("three padding characters too many", "e30===="));
    cases.push_back(impossible("one padding character where none is due", "eyB9="));
    cases.push_back(object("two padding characters where none is due", "eyB9=="));
    cases.push_back(object("a group of padding alone behind the text", "eyB9===="));
    cases.push_back(impossible("one padding character alone", "="));
    cases.push_back(other("two padding characters alone", "=="));
    cases.push_back(other("three padding characters alone", "==="));
    cases.push_back(other("a group of padding alone", "===="));
    cases.push_back(other("padding in front", "=e30"));
    cases.push_back(other("padding in the middle", "e=30"));
    cases.push_back(object("an object, padding and more text", "e30=AAAA"));
}

void addWhitespace(TokenCases& cases)
{
    cases.push_back(other("a blank in front", " e30"));
    cases.push_back(other("a blank in the middle", "e 30"));
    cases.push_back(other("a blank at the end", "e30 "));
    cases.push_back(other("a line break in the middle", "e3\n0"));
    cases.push_back(other("a line break at the end", "e30\n"));
    cases.push_back(impossible("a line break of two characters at the end", "e30\r\n"));
    cases.push_back(impossible("a tab in front of padded text", "\te30="));
    cases.push_back(object("four blanks in front", "    e30"));
    cases.push_back(object("four tabs in front of padded text", "\t\t\t\te30="));
    cases.push_back(object("four line breaks behind padded text", "e30=\n\n\n\n"));
    cases.push_back(other("blanks alone", "    "));
}

void addAlphabets(TokenCases& cases)
{
    cases.push_back(object("dash and underscore", "eyJzdWIiOiJ-fj8_In0"));
    cases.push_back(object("plus and slash", "eyJzdWIiOiJ+fj8/In0"));
    cases.push_back(object("both alphabets in one text", "eyJzdWIiOiJ-fj8/In0"));
    cases.push_back(other("punctuation", "!!!!"));
    cases.push_back(other("a comma", "e30,"));
    cases.push_back(other("tildes", "~~~~"));
    cases.push_back(other("dollars and dots of an older alphabet", "$$$$"));
    cases.push_back(other("bytes above those of ASCII", "\xFF\xFE\xFD\xFC"));
    cases.push_back(other("a letter with an accent", "e3\xB0"));
    cases.push_back(impossible("a letter of full width", "\xEF\xBD\x85"
                                                         "30"));
    cases.push_back(other("an invisible character", "e30\xE2\x80\x8B"));
    cases.push_back(impossible("escaped letters", "%65%33%30"));
    cases.push_back(other("an escaped padding", "e30%3D"));
    cases.push_back(impossible("quotes", "\"e30\""));
    cases.push_back(other("hexadecimal digits", "7b7d"));
    cases.push_back(other("base32", "PN6Q===="));
    cases.push_back(other("the JSON text itself", "{}"));
    cases.push_back(other("the JSON text itself in four characters", "{  }"));
}

void addTrailingBits(TokenCases& cases)
{
    for (const char* part : {"e31", "e32", "e33"}) {
        cases.push_back(object(std::string("two unused bits set in ") + part, part));
    }
    for (const char* part : {"eyAgfR", "eyAgfY", "eyAgff"}) {
        cases.push_back(object(std::string("four unused bits set in ") + part, part));
    }
}

void addZeroBytes(TokenCases& cases)
{
    cases.push_back(other("a zero byte in front", std::string("\0e30", 4)));
    cases.push_back(other("a zero byte in the middle", std::string("e3\0", 3)));
    cases.push_back(other("a zero byte at the end", std::string("e30\0", 4)));
    cases.push_back(impossible("a zero byte behind padded text", std::string("e30=\0", 5)));
    cases.push_back(object("a zero byte and letters behind padded text", std::string("e30=\0AA", 7)));
    cases.push_back(other("zero bytes alone", std::string(4, '\0')));
}

/// OpenSSL decodes in blocks of 1024 characters and delivers those before the first bad one.
void addBlocks(TokenCases& cases)
{
    const std::string block = base64Url("{}" + std::string(766, ' '));
    cases.push_back(object("punctuation behind a whole block", block + "!!!!"));
    cases.push_back(other("punctuation within the first block", block.substr(0, 1020) + "!!!!"));
    cases.push_back(other("punctuation in front of a whole block", "!!!!" + block));
    cases.push_back(object("ten blocks", base64Url("{" + std::string(7678, ' ') + "}")));
}

} // namespace

TokenCases codingCases()
{
    TokenCases cases;
    addLengths(cases);
    addPadding(cases);
    addWhitespace(cases);
    addAlphabets(cases);
    addTrailingBits(cases);
    addZeroBytes(cases);
    addBlocks(cases);
    return cases;
}

} // namespace keepsafe_test
