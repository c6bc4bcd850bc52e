#include <algorithm>
#include <memory>
#include <string>

#include <keepsafe/platform/status/EC_exception.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "io/token_file.h"
#include "output/Json.h"
#include "output/TextTable.h"
#include "token/token_checks.h"

namespace ksrbac {

namespace {

constexpr char DESCRIPTION[] =
    R"(Tell whether a session token is valid, and if not, why.

Checks, in this order, the token's form (three parts in base64url), its
signature with the host's public key, its payload (a JSON object) and its expiry
("exp", milliseconds since 1970), and prints each with what came of it. Whether
the database knows the token is not asked: see 'ksrbac token roles'.

The header is not looked at: the signature must be RS256 whatever it says.

Exit status: 0 valid, 1 not valid, 2 usage error or a file that cannot be read,
3 the host's public key cannot be used, so that nothing is known about the
signature, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac token verify token
  ksrbac token verify - < token)";

const char* outcomeText(TokenCheck::Outcome outcome)
{
    switch (outcome) {
    case TokenCheck::Outcome::Passed:
        return "passed";
    case TokenCheck::Outcome::Failed:
        return "FAILED";
    case TokenCheck::Outcome::Unknown:
        return "UNKNOWN";
    case TokenCheck::Outcome::Skipped:
        break;
    }
    return "skipped";
}

/// The check that failed; null if all passed.
const TokenCheck* culprit(const TokenVerdict& verdict)
{
    const auto found = std::find_if(verdict.checks.begin(), verdict.checks.end(), [](const auto& check) {
        return check.outcome != TokenCheck::Outcome::Passed;
    });
    return found == verdict.checks.end() ? nullptr : &*found;
}

void printText(const TokenVerdict& verdict, Console& console)
{
    TextTable table({TextTable::Align::Left, TextTable::Align::Left, TextTable::Align::Left});
    for (const TokenCheck& check : verdict.checks) {
        table.addRow({check.name, outcomeText(check.outcome), check.detail});
    }
    console.print(table.text());
    console.print(verdict.isValid ? console.paint("valid", Colour::Good) + '\n'
                                  : console.paint("not valid", Colour::Bad) + '\n');
}

void printJson(const TokenVerdict& verdict, Console& console)
{
    JsonObject line;
    line.add("valid", verdict.isValid);
    if (!verdict.isValid) {
        const TokenCheck& check = *culprit(verdict);
        line.add("failed", check.name).add("reason", check.detail);
    }
    console.print(line.text() + '\n');
}

ExitStatus run(const std::string& tokenFile, bool json, Console& console)
{
    const TokenVerdict verdict = judgeToken(readToken(tokenFile));
    if (verdict.keyStatus != 0) {
        throw EC_exception(verdict.keyStatus);
    }
    if (!verdict.isValid && culprit(verdict) == nullptr) {
        throw EC_exception(verdict.status); // the library refuses what passes every check that is known here
    }
    (json ? printJson : printText)(verdict, console);
    return verdict.isValid ? ExitStatus::Good : ExitStatus::Negative;
}

} // namespace

Action addTokenVerify(CLI::App& command)
{
    const auto tokenFile = std::make_shared<std::string>();
    describe(command, DESCRIPTION, EXAMPLE);
    addTokenFile(command, *tokenFile);
    return {[tokenFile](bool json, Console& console) { return run(*tokenFile, json, console); }};
}

} // namespace ksrbac
