#include <algorithm>
#include <string>

#include <keepsafe/platform/status/EC_exception.h>

#include "commands/commands.h"
#include "io/token_file.h"
#include "output/Json.h"
#include "output/TextTable.h"
#include "token/token_checks.h"

namespace ksrbac {

namespace {

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

/// The check that did not pass; null when all did.
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
    console.print(verdict.isValid ? "valid\n" : "not valid\n");
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

} // namespace

ExitStatus runTokenVerify(const TokenVerifyOptions& options, bool json, Console& console)
{
    const TokenVerdict verdict = judgeToken(readToken(options.tokenFile));
    if (verdict.keyStatus != 0) {
        throw EC_exception(verdict.keyStatus);
    }
    if (!verdict.isValid && culprit(verdict) == nullptr) {
        throw EC_exception(verdict.status); // the library refuses what passes every check that is known here
    }
    (json ? printJson : printText)(verdict, console);
    return verdict.isValid ? ExitStatus::Good : ExitStatus::Negative;
}

} // namespace ksrbac
