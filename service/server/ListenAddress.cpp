#include "server/ListenAddress.h"

#include <algorithm>

#include "errors/InputError.h"

namespace keepsafe_service {

namespace {

constexpr int MOST_PORT = 65535;

[[noreturn]] void fail(const std::string& text, const std::string& what)
{
    throw InputError("\"" + text + "\": " + what +
                     "; wanted is ADDRESS:PORT, as in 127.0.0.1:1556 or [::1]:1556");
}

int toPort(const std::string& digits, const std::string& text)
{
    constexpr std::size_t mostDigits = 5;
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (digits.empty() || digits.size() > mostDigits || !std::all_of(digits.begin(), digits.end(), isDigit)) {
        fail(text, "the port is not a number from 1 to 65535");
    }
    const int port = std::stoi(digits);
    if (port < 1 || port > MOST_PORT) {
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
