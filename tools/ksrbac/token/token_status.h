#ifndef KSRBAC_TOKEN_TOKEN_STATUS_H
#define KSRBAC_TOKEN_TOKEN_STATUS_H

#include "log/HeardErrors.h"

namespace ksrbac {

/// Throws `CommandFailure` for a status other than 0 that the library returned when it looked for the roles
/// of a session token: of the database for 220, else of the token. `errors` heard why.
void requireTokenStatus(int status, const HeardErrors& errors);

} // namespace ksrbac

#endif
