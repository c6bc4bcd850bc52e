#include <keepsafe/platform/status/EC_exception.h>

#include <keepsafe/platform/status/status_codes.h>

EC_exception::EC_exception(int status) : std::runtime_error(getECmsg(status)), status_(status) {}

EC_exception::~EC_exception() = default;
