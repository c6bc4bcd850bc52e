#include "jwt/bad_tokens/TokenCase.h"

namespace keepsafe_test {

namespace {

const LogLine NO_ARRAY = lines::error(lines::EXTRACT_TAG, "JSON is invalid. Roles is NULL or not an array");
const LogLine NOT_A_ROLE_ID =
    lines::error(lines::EXTRACT_TAG, "JSON is invalid. Role ID is NULL or not an integer");

TokenCase payloadCase(const std::string& words, const std::string& payload, int status,
                      const std::string& delivered, const lines::Lines& logged)
{
    return {words, unsignedToken(payload), entry_point::extractRoleIds, status, delivered, logged};
}

void addOtherTypes(TokenCases& cases)
{
    const std::pair<const char*, const char*> values[] = {{"null", "null"},
                                                          {"true", "true"},
                                                          {"false", "false"},
                                                          {"an integer", "3"},
                                                          {"zero", "0"},
                                                          {"a real", "3.0"},
                                                          {"an empty string", "\"\""},
                                                          {"a string", "\"3\""},
                                                          {"a string with a list", "\"[3]\""},
                                                          {"an empty object", "{}"},
                                                          {"an object", R"({"0":3})"}};
    for (const auto& [words, value] : values) {
        cases.push_back(payloadCase(std::string("roles that are ") + words,
                                    std::string("{\"roles\":") + value + "}", 8002, "", {NO_ARRAY}));
    }
    cases.push_back(payloadCase("no roles", "{}", 8002, "", {NO_ARRAY}));
    cases.push_back(payloadCase("roles in capitals", R"({"ROLES":[3]})", 8002, "", {NO_ARRAY}));
    cases.push_back(payloadCase("roles one level down", R"({"user":{"roles":[3]}})", 8002, "", {NO_ARRAY}));
    cases.push_back(payloadCase("roles twice, an array last", R"({"roles":3,"roles":[4]})", 0, "4 ", {}));
    cases.push_back(
        payloadCase("roles twice, an array first", R"({"roles":[4],"roles":3})", 8002, "", {NO_ARRAY}));
}

void addOtherElements(TokenCases& cases)
{
    const std::pair<const char*, const char*> elements[] = {{"null", "null"},
                                                            {"true", "true"},
                                                            {"false", "false"},
                                                            {"a real", "5.0"},
                                                            {"a real with an exponent", "5e0"},
                                                            {"a string", "\"5\""},
                                                            {"an empty string", "\"\""},
                                                            {"an array", "[5]"},
                                                            {"an empty array", "[]"},
                                                            {"an object", "{}"}};
    for (const auto& [words, element] : elements) {
        cases.push_back(payloadCase(std::string("a role that is ") + words,
                                    std::string("{\"roles\":[") + element + "]}", 8002, "", {NOT_A_ROLE_ID}));
    }
    cases.push_back(
        payloadCase("a string between roles", R"({"roles":[1,"x",3]})", 8002, "1 ", {NOT_A_ROLE_ID}));
    cases.push_back(
        payloadCase("a null behind roles", R"({"roles":[9,8,null]})", 8002, "8 9 ", {NOT_A_ROLE_ID}));
}

void addRanges(TokenCases& cases)
{
    const std::pair<const char*, const char*> values[] = {{"-1", "-1 "},
                                                          {"0", "0 "},
                                                          {"-0", "0 "},
                                                          {"2147483647", "2147483647 "},
                                                          {"2147483648", "-2147483648 "},
                                                          {"-2147483648", "-2147483648 "},
                                                          {"-2147483649", "2147483647 "},
                                                          {"4294967295", "-1 "},
                                                          {"4294967296", "0 "},
                                                          {"4294967297", "1 "},
                                                          {"9223372036854775807", "-1 "},
                                                          {"-9223372036854775808", "0 "}};
    for (const auto& [value, delivered] : values) {
        cases.push_back(payloadCase(std::string("the role ") + value,
                                    std::string("{\"roles\":[") + value + "]}", 0, delivered, {}));
    }
    const LogLine notCreated = lines::error(lines::EXTRACT_TAG, "Failed to create JWT, error=7610");
    for (const char* value : {"9223372036854775808", "-9223372036854775809", "1e400", "01", "+1"}) {
        cases.push_back(payloadCase(std::string("the role ") + value,
                                    std::string("{\"roles\":[") + value + "]}", 7610, "",
                                    {lines::NOT_AN_OBJECT, notCreated}));
    }
}

void addCounts(TokenCases& cases)
{
    cases.push_back(payloadCase("an empty array of roles", R"({"roles":[]})", 0, "", {}));
    cases.push_back(payloadCase("a role twice", R"({"roles":[5,5,2]})", 0, "2 5 ", {}));
    cases.push_back(payloadCase("roles equal in 32 bits", R"({"roles":[1,4294967297]})", 0, "1 ", {}));
    std::string many = "0";
    std::string delivered = "0 ";
    for (int role = 1; role < 10000; ++role) {
        many += ',' + std::to_string(role);
        delivered += std::to_string(role) + ' ';
    }
    cases.push_back(payloadCase("ten thousand roles", "{\"roles\":[" + many + "]}", 0, delivered, {}));
    cases.push_back(payloadCase("roles in a very deep array",
                                "{\"roles\":" + std::string(99, '[') + std::string(99, ']') + "}", 8002, "",
                                {NOT_A_ROLE_ID}));
}

} // namespace

TokenCases roleCases()
{
    TokenCases cases;
    addOtherTypes(cases);
    addOtherElements(cases);
    addRanges(cases);
    addCounts(cases);
    return cases;
}

} // namespace keepsafe_test
