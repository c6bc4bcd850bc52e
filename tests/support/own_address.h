#ifndef KEEPSAFE_TESTS_SUPPORT_OWN_ADDRESS_H
#define KEEPSAFE_TESTS_SUPPORT_OWN_ADDRESS_H

#include <string>

#include <unistd.h>

namespace keepsafe_test {

/// A loopback address that no other process takes, for servers at a port that is the same for all.
inline std::string ownAddress()
{
    const auto pid = static_cast<unsigned>(getpid());
    return "127." + std::to_string(64 + (pid >> 16U & 63U)) + '.' + std::to_string(pid >> 8U & 255U) + '.' +
           std::to_string(pid & 255U);
}

} // namespace keepsafe_test

#endif
