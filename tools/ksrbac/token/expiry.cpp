#include "token/expiry.h"

#include <chrono>

#include "output/utc_time.h"

namespace ksrbac {

TokenExpiry readExpiry(const Tessara::Keepsafe::JWT& jwt)
{
    long long expiry = 0;
    bool isExpired = true;
    if (jwt.getExpiry(expiry) != 0 || jwt.isExpired(isExpired) != 0) {
        return {true, "no \"exp\" that is an integer"};
    }
    return {isExpired, (isExpired ? "expired at " : "expires at ") + utcTime(expiry) + ", " +
                           timeFrom(nowMilliseconds(), expiry)};
}

long long nowMilliseconds()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

} // namespace ksrbac
