#include "jwt/bad_tokens/TokenCase.h"

namespace keepsafe_test {

namespace {

using entry_point::UNTOUCHED;

const LogLine CHECK_FAILED = lines::parserSays("JWT is expired check failed, error=8002");
const LogLine NOT_A_TIME = lines::error("JWT::isExpired", lines::NOT_AN_INTEGER);
const LogLine EXPIRED = lines::parserSays("JWT is expired");
const LogLine NOT_CREATED = lines::parserSays("failed to create JWT, error=7610");

std::string expiring(const std::string& exp) { return hostSigner().sign("{\"exp\":" + exp + "}"); }

TokenCase expiredAt(const std::string& exp)
{
    return refusedBehindSignatureCase("the expiry " + exp, expiring(exp), 8001, {EXPIRED});
}

void addUnreadableExpiries(TokenCases& cases)
{
    for (const char* exp : {"\"32503680000000\"", "\"\"", "32503680000000.0", "3.2e13", "1E3", "true",
                            "false", "null", "[]", "[32503680000000]", "{}"}) {
        const std::string words = std::string("the expiry ") + exp;
        const std::string token = unsignedToken(std::string("{\"exp\":") + exp + "}");
        cases.push_back(refusedBehindSignatureCase(words, expiring(exp), 8002, {NOT_A_TIME, CHECK_FAILED}));
        cases.push_back({words + ", read",
                         token,
                         entry_point::getExpiry,
                         8002,
                         UNTOUCHED,
                         {lines::error("JWT::getExpiry", lines::NOT_AN_INTEGER)}});
        cases.push_back({words + ", compared", token, entry_point::isExpired, 8002, "expired", {NOT_A_TIME}});
    }
    const std::pair<const char*, const char*> payloads[] = {
        {"no expiry", "{}"},
        {"an expiry in capitals", R"({"EXP":32503680000000})"},
        {"an expiry with a blank in its name", R"({"exp ":32503680000000})"},
        {"an expiry one level down", R"({"claims":{"exp":32503680000000}})"}};
    for (const auto& [words, payload] : payloads) {
        cases.push_back(
            refusedBehindSignatureCase(words, hostSigner().sign(payload), 8002, {NOT_A_TIME, CHECK_FAILED}));
    }
    for (const char* exp : {"9223372036854775808", "-9223372036854775809", "1e400", "0x10", "00", "1_000"}) {
        cases.push_back(refusedBehindSignatureCase(std::string("the expiry ") + exp, expiring(exp), 7610,
                                                   {lines::NOT_AN_OBJECT, NOT_CREATED}));
    }
}

void addTimes(TokenCases& cases)
{
    for (const char* exp : {"-9223372036854775808", "-1", "-0", "0", "1", "1000"}) {
        cases.push_back(expiredAt(exp));
    }
    for (const char* exp : {"-9223372036854775808", "-1", "0", "9223372036854775807"}) {
        const std::string token = unsignedToken(std::string("{\"exp\":") + exp + "}");
        cases.push_back(
            {std::string("the expiry ") + exp + ", read", token, entry_point::getExpiry, 0, exp, {}});
        cases.push_back({std::string("the expiry ") + exp + ", compared",
                         token,
                         entry_point::isExpired,
                         0,
                         exp[0] == '9' ? "lasting" : "expired",
                         {}});
    }
    cases.push_back(acceptedCase("the greatest expiry", expiring("9223372036854775807")));
    cases.push_back(acceptedCase("an expiry far ahead", expiring(std::to_string(FAR_FUTURE_MS))));
    const auto at = [](long long offsetMs) {
        return [offsetMs](long long now) { return expiring(std::to_string(now + offsetMs)); };
    };
    const auto timed = [&cases](TokenCase wanted, const std::function<std::string(long long)>& tokenAt) {
        wanted.tokenAt = tokenAt;
        cases.push_back(std::move(wanted));
    };
    const auto past = [](const char* words) {
        return refusedBehindSignatureCase(words, "", 8001, {EXPIRED});
    };
    timed(acceptedCase("an expiry in this second", ""), at(0));
    timed(acceptedCase("an expiry a millisecond ahead", ""), at(1));
    timed(past("an expiry a millisecond ago"), at(-1));
    timed(past("an expiry a second ago"), at(-1000));
    timed(past("an expiry in seconds"),
          [](long long now) { return expiring(std::to_string(now / 1000 + 3600)); });
}

/// The values of all JSON types that are no string.
const std::pair<const char*, const char*> NO_STRINGS[] = {
    {"null", "null"}, {"true", "true"},    {"false", "false"},       {"an integer", "4711"},
    {"zero", "0"},    {"a real", "47.11"}, {"an array", R"(["x"])"}, {"an empty object", "{}"}};

/// A string claim through its getter.
void addStringClaim(TokenCases& cases, const std::string& name, entry_point::EntryPoint getter,
                    const LogLine& wrongType)
{
    const auto token = [&](const std::string& value) {
        return unsignedToken("{\"" + name + "\":" + value + "}");
    };
    for (const auto& [words, value] : NO_STRINGS) {
        cases.push_back({name + " that is " + words, token(value), getter, 8002, UNTOUCHED, {wrongType}});
    }
    cases.push_back({"no " + name, unsignedToken("{}"), getter, 8002, UNTOUCHED, {wrongType}});
    cases.push_back({name + " that is empty", token(R"("")"), getter, 0, "", {}});
    cases.push_back({name + " with letters of many scripts",
                     token("\"\xC3\xA4\\u20AC\\ud83d\\ude00\""),
                     getter,
                     0,
                     "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80",
                     {}});
    cases.push_back({name + " with a line break", token(R"("a\nb")"), getter, 0, "a\nb", {}});
    cases.push_back({name + " with quotes", token(R"("' OR ''=''")"), getter, 0, "' OR ''=''", {}});
    const std::string longText(40000, 'x');
    cases.push_back(
        {name + " of forty thousand letters", token('"' + longText + '"'), getter, 0, longText, {}});
    cases.push_back({name + " with an escaped zero",
                     token(R"("a\u0000b")"),
                     getter,
                     7610,
                     entry_point::NO_OBJECT,
                     {lines::NOT_AN_OBJECT}});
}

void addSubjects(TokenCases& cases)
{
    const LogLine noString = lines::error("JWT::getSubject", lines::NOT_A_STRING);
    const LogLine failed = lines::error("extractSubject", "JWT getSubject failed");
    cases.push_back({"a subject that is a number, extracted",
                     unsignedToken(R"({"sub":5})"),
                     entry_point::extractSubject,
                     0,
                     "null",
                     {noString, failed}});
    cases.push_back({"a subject that is a number, in fields",
                     unsignedToken(R"({"sub":5,"is_machine":"false"})"),
                     entry_point::extractSubjectC,
                     0,
                     "untouched,untouched,untouched",
                     {noString, failed}});
    const std::pair<const char*, const char*> fields[] = {{"", "untouched,untouched,untouched"},
                                                          {":", "untouched,untouched,untouched"},
                                                          {"a", "untouched,a,untouched"},
                                                          {"a:b", "b,a,untouched"},
                                                          {"a:b:c:d", "b,a,c"},
                                                          {"::a::b::c::", "b,a,c"}};
    for (const auto& [subject, delivered] : fields) {
        cases.push_back({std::string("the fields of the subject '") + subject + "'",
                         unsignedToken(std::string(R"({"is_machine":"no","sub":")") + subject + "\"}"),
                         entry_point::extractSubjectC,
                         0,
                         delivered,
                         {}});
    }
}

void addMachines(TokenCases& cases)
{
    const auto token = [](const std::string& value) {
        return unsignedToken("{\"is_machine\":" + value + "}");
    };
    const LogLine wrongType = lines::error("isMachineCheck", lines::NOT_A_STRING);
    const auto ask = entry_point::isMachineCheck;
    for (const auto& [words, value] : NO_STRINGS) {
        cases.push_back({std::string("a machine flag that is ") + words,
                         token(value),
                         ask,
                         8002,
                         "no machine",
                         {wrongType}});
    }
    cases.push_back({"no machine flag", unsignedToken("{}"), ask, 8002, "no machine", {wrongType}});
    for (const char* text : {"True", "TRUE", " true", "true ", "truetrue", "yes", "1", "", "false", "tru"}) {
        cases.push_back({std::string("the machine flag '") + text + "'",
                         token('"' + std::string(text) + '"'),
                         ask,
                         0,
                         "no machine",
                         {}});
    }
    cases.push_back({"the machine flag 'true'", token(R"("true")"), ask, 0, "machine", {}});
    cases.push_back({"the machine flag 'true' in escapes", token(R"("\u0074rue")"), ask, 0, "machine", {}});
}

} // namespace

TokenCases claimCases()
{
    TokenCases cases;
    addUnreadableExpiries(cases);
    addTimes(cases);
    addStringClaim(cases, "jti", entry_point::getJwtId,
                   lines::error("JWT::getJwtId", lines::JTI_NOT_A_STRING));
    addStringClaim(cases, "sub", entry_point::getSubject,
                   lines::error("JWT::getSubject", lines::NOT_A_STRING));
    addSubjects(cases);
    addMachines(cases);
    return cases;
}

} // namespace keepsafe_test
