#include "token/token_status.h"

#include <string>

#include <keepsafe/platform/status/status_codes.h>

#include "exit_status.h"
#include "output/escape.h"

namespace ksrbac {

namespace Status = Tessara::Keepsafe::Status;

void requireTokenStatus(int status, const HeardErrors& errors)
{
    if (status == Status::SUCCESS) {
        return;
    }
    const FailureKind kind =
        status == Status::DATABASE_UNAVAILABLE ? FailureKind::Database : FailureKind::Token;
    const std::string reason = errors.first();
    throw CommandFailure({kind,
                          "status " + std::to_string(status) + ": " + getECmsg(status) +
                              (reason.empty() ? "" : " (" + printable(reason) + ')'),
                          status});
}

} // namespace ksrbac
