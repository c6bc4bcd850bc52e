#include "jwt/bad_tokens/TokenCase.h"

namespace keepsafe_test {

namespace {

/// A member that lets a payload last.
constexpr char EXP[] = "\"exp\":32503680000000";

std::string lasting(const std::string& members) { return std::string("{") + EXP + "," + members + "}"; }

TokenCase good(const std::string& words, const std::string& payload)
{
    return acceptedCase(words, hostSigner().sign(payload));
}

TokenCase noObject(const std::string& words, const std::string& payload)
{
    return refusedBehindSignatureCase(
        words, hostSigner().sign(payload), 7610,
        {lines::NOT_AN_OBJECT, lines::parserSays("failed to create JWT, error=7610")});
}

TokenCase expiredCase(const std::string& words, const std::string& payload)
{
    return refusedBehindSignatureCase(words, hostSigner().sign(payload), 8001,
                                      {lines::parserSays("JWT is expired")});
}

void addOtherPayloads(TokenCases& cases)
{
    const std::pair<const char*, const char*> payloads[] = {{"an empty array", "[]"},
                                                            {"an array", "[1,2]"},
                                                            {"an array with an object", "[{}]"},
                                                            {"a number", "42"},
                                                            {"a negative number", "-1"},
                                                            {"a real", "1.5"},
                                                            {"a string", R"("text")"},
                                                            {"an empty string", R"("")"},
                                                            {"a string that holds an object", R"("{}")"},
                                                            {"null", "null"},
                                                            {"true", "true"},
                                                            {"false", "false"}};
    for (const auto& [words, payload] : payloads) {
        cases.push_back(noObject(std::string("a payload that is ") + words, payload));
    }
}

void addSyntaxErrors(TokenCases& cases)
{
    const std::pair<const char*, std::string> payloads[] = {
        {"blanks alone", "   "},
        {"plain words", "plain words"},
        {"an object that does not end", "{"},
        {"an end alone", "}"},
        {"a bracket of another kind", R"({"a":1])"},
        {"a comma behind the last member", R"({"a":1,})"},
        {"a comma in front of the first member", R"({,"a":1})"},
        {"no colon", R"({"a" 1})"},
        {"no value", R"({"a":})"},
        {"a name without quotes", "{a:1}"},
        {"a name in single quotes", "{'a':1}"},
        {"a number for a name", "{1:1}"},
        {"a string that does not end", R"({"a":"b)"},
        {"two objects", "{}{}"},
        {"an object and a letter", "{}x"},
        {"a comment", "{} // nothing"},
        {"a byte order mark", "\xEF\xBB\xBF{}"},
        {"sixteen-bit characters", std::string("{\0}\0", 4)},
        {"the word NaN", R"({"a":NaN})"},
        {"the word Infinity", R"({"a":Infinity})"},
        {"the word True", R"({"a":True})"},
        {"a number with a plus", R"({"a":+1})"},
        {"a number with a leading zero", R"({"a":01})"},
        {"a number without digits behind its point", R"({"a":1.})"},
        {"a number without digits before its point", R"({"a":.5})"},
        {"a hexadecimal number", R"({"a":0x10})"},
        {"a real beyond all limits", R"({"a":1e400})"},
        {"an integer beyond all limits", R"({"a":18446744073709551616})"},
        {"XML", "<a/>"}};
    for (const auto& [words, payload] : payloads) {
        cases.push_back(noObject(std::string("a payload with ") + words, payload));
    }
}

void addStrings(TokenCases& cases)
{
    const std::pair<const char*, const char*> bad[] = {{"a line break", "\n"},
                                                       {"a tab", "\t"},
                                                       {"a control character", "\x01"},
                                                       {"an unknown escape", "\\x41"},
                                                       {"half an escape", "\\u12"},
                                                       {"an escaped zero", "\\u0000"},
                                                       {"the first half of a pair", "\\ud83d"},
                                                       {"the second half of a pair", "\\ude00"},
                                                       {"a pair the wrong way round", "\\ude00\\ud83d"},
                                                       {"a byte that is never UTF-8", "\xFF"},
                                                       {"a byte that continues nothing", "\x80"},
                                                       {"a character that is cut", "\xE2\x82"},
                                                       {"a slash in two bytes", "\xC0\xAF"},
                                                       {"a zero in two bytes", "\xC0\x80"},
                                                       {"half a pair in UTF-8", "\xED\xA0\x80"},
                                                       {"a character beyond Unicode", "\xF4\x90\x80\x80"},
                                                       {"Latin-1", "M\xFCller"}};
    for (const auto& [words, text] : bad) {
        cases.push_back(
            noObject(std::string("a value with ") + words, lasting(std::string("\"a\":\"") + text + '"')));
        cases.push_back(
            noObject(std::string("a name with ") + words, lasting('"' + std::string(text) + "\":1")));
    }
    const std::pair<const char*, const char*> fine[] = {{"an escaped slash", "\\/"},
                                                        {"a pair of escapes", "\\ud83d\\ude00"},
                                                        {"a letter with an accent", "\xC3\xBC"},
                                                        {"a character of four bytes", "\xF0\x9F\x98\x80"},
                                                        {"a character that is none", "\xEF\xBF\xBF"},
                                                        {"a delete character", "\x7F"},
                                                        {"nothing", ""}};
    for (const auto& [words, text] : fine) {
        cases.push_back(
            good(std::string("a value with ") + words, lasting(std::string("\"a\":\"") + text + '"')));
    }
}

std::string deep(std::size_t arrays)
{
    return lasting("\"a\":" + std::string(arrays, '[') + std::string(arrays, ']'));
}

std::string deepObjects(std::size_t objects)
{
    std::string text = "1";
    for (std::size_t i = 0; i < objects; ++i) {
        text.insert(0, "{\"a\":").append("}");
    }
    return lasting("\"a\":" + text);
}

void addSizes(TokenCases& cases)
{
    constexpr std::size_t MEBIBYTE = std::size_t{1024} * 1024;
    // The payload itself is one level.
    cases.push_back(good("arrays to the greatest depth", deep(99)));
    cases.push_back(good("objects to the greatest depth", deepObjects(99)));
    cases.push_back(noObject("arrays beyond the greatest depth", deep(100)));
    cases.push_back(noObject("objects beyond the greatest depth", deepObjects(100)));
    cases.push_back(noObject("arrays to the depth of 2000", deep(2000)));
    cases.push_back(noObject("a hundred thousand opening brackets", std::string(100000, '[')));
    cases.push_back(noObject("a hundred thousand opening objects", [] {
        std::string text;
        for (int i = 0; i < 100000; ++i) {
            text += "{\"a\":";
        }
        return text;
    }()));
    cases.push_back(good("a string of a mebibyte", lasting("\"a\":\"" + std::string(MEBIBYTE, 'x') + '"')));
    cases.push_back(good("a mebibyte of blanks", std::string(MEBIBYTE, ' ') + lasting("\"a\":1")));
    cases.push_back(good("a name of a mebibyte", lasting('"' + std::string(MEBIBYTE, 'x') + "\":1")));
    cases.push_back(noObject("a mebibyte of blanks alone", std::string(MEBIBYTE, ' ')));
    cases.push_back(noObject("a mebibyte of zero bytes", std::string(MEBIBYTE, '\0')));
    cases.push_back(noObject("a number of a mebibyte", lasting("\"a\":" + std::string(MEBIBYTE, '1'))));
    cases.push_back(noObject("an array of a mebibyte", '[' + std::string(MEBIBYTE - 2, ' ') + ']'));
}

void addPayloadsWithZeroBytes(TokenCases& cases)
{
    const std::string object = lasting("\"a\":1");
    cases.push_back(good("a zero byte behind the object", object + '\0'));
    cases.push_back(good("a zero byte and another object behind it", object + '\0' + "{\"exp\":1}"));
    cases.push_back(noObject("a zero byte in front of the object", '\0' + object));
    cases.push_back(noObject("a zero byte in a value", lasting(std::string("\"a\":\"b\0c\"", 9))));
    cases.push_back(
        noObject("a zero byte between members", '{' + std::string(EXP) + std::string(",\0\"a\":1}", 8)));
}

void addDuplicates(TokenCases& cases)
{
    cases.push_back(good("two expiries, the later one last", R"({"exp":1,"exp":32503680000000})"));
    cases.push_back(expiredCase("two expiries, the later one first", R"({"exp":32503680000000,"exp":1})"));
    cases.push_back(good("two expiries, an escaped one last", R"({"exp":1,"\u0065xp":32503680000000})"));
    cases.push_back(good("a subject twice", lasting(R"("sub":"alice","sub":"bob")")));
    cases.push_back(good("the same member a thousand times", [] {
        std::string members = "\"a\":0";
        for (int i = 0; i < 1000; ++i) {
            members += ",\"a\":" + std::to_string(i);
        }
        return lasting(members);
    }()));
    cases.push_back(good("an empty name", lasting("\"\":1")));
    cases.push_back(
        good("blanks and line breaks around everything", "\r\n\t { " + std::string(EXP) + " }\n "));
}

} // namespace

TokenCases payloadCases()
{
    TokenCases cases;
    addOtherPayloads(cases);
    addSyntaxErrors(cases);
    addStrings(cases);
    addSizes(cases);
    addPayloadsWithZeroBytes(cases);
    addDuplicates(cases);
    return cases;
}

} // namespace keepsafe_test
