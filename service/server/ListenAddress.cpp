#include "server/ListenAddress.h"

#include <cstdint>
#include <system_error>

#include "decimal.h"
#include "errors/InputError.h"

namespace keepsafe_service {

namespace {

[[noreturn]] void fail(const std::string& text, const std::string& what)
{
    throw InputError("\"" + text + "\": " + what +
                     "; wanted is ADDRESS:PORT, as in 127.0.0.1:1556 or [::1]:1556");
}

int toPort(const std::string& digits, const std::string& text)
{
    constexpr std::size_t mostDigits = 5;
    std::uint16_t port = 0;
    if (digits.size() > mostDigits || Tessara::Keepsafe::Text::parseDecimal(digits, port) != std::errc() ||
        port == 0) {
        fail(text, "the port is not a number from 1 to 65535");
    }
    return port;
}

} // namespace

ListenAddress ListenAddress::parse(const std::string& text)
{
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) {
        fail(text, "the port is missing");
    }
    ListenAddress address;
    address.host = text.substr(0, colon);
    address.port = toPort(text.substr(colon + 1), text);
    if (address.host.size() > 2 && address.host.front() == '[' && address.host.back() == ']') {
        address.host = address.host.substr(1, address.host.size() - 2);
    } else if (address.host.find_first_of(":[]") != std::string::npos) {
        fail(text, "an address with colons must be in brackets");
    }
    if (address.host.empty()) {
        fail(text, "the address is missing");
    }
    return address;
}

std::string ListenAddress::text() const
{
    const bool hasColon = host.find(':') != std::string::npos;
    return (hasColon ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

} // namespace keepsafe_service
