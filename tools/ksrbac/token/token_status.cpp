#include "token/token_status.h"

#include <string>

#include <keepsafe/platform/status/status_codes.h>

#include "exit_status.h"
#include "output/escape.h"

namespace ksrbac {

namespace Status = Tessara::Keepsafe::Status;

namespace {

/// What the library said first, unless it only repeats the status.
std::string reasonBeside(int status, const HeardErrors& errors)
{
    const std::string said = errors.first();
    const std::string repetition = "error=" + std::to_string(status);
    const bool repeats = said.size() >= repetition.size() &&
                         said.compare(said.size() - repetition.size(), repetition.size(), repetition) == 0;
    return repeats ? "" : said;
}

} // namespace

void requireTokenStatus(int status, const HeardErrors& errors)
{
    if (status == Status::SUCCESS) {
        return;
    }
    const FailureKind kind =
        status == Status::DATABASE_UNAVAILABLE ? FailureKind::Database : FailureKind::Token;
    const std::string reason = reasonBeside(status, errors);
    throw CommandFailure({kind,
                          "status " + std::to_string(status) + ": " + getECmsg(status) +
                              (reason.empty() ? "" : " (" + printable(reason) + ')'),
                          status});
}

} // namespace ksrbac
