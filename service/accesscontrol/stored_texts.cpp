#include "accesscontrol/stored_texts.h"

#include <system_error>

#include <boost/lexical_cast.hpp>

#include "decimal.h"
#include "split.h"
#include "json/Element.h"

namespace keepsafe_service {

namespace Rbac = Tessara::Keepsafe::Rbac;
using Tessara::Keepsafe::Text::parseDecimal;
using Tessara::Keepsafe::Text::split;

namespace {

[[noreturn]] void refuse(const std::string& text, const char* what)
{
    throw BadStoredText(quoted(text) + " is not " + what);
}

} // namespace

std::int32_t storedNumber(const std::string& text)
{
    std::int32_t number = 0;
    if (parseDecimal(text, number) != std::errc()) {
        refuse(text, "a number of 32 bits");
    }
    return number;
}

bool storedFlag(const std::string& text)
{
    if (text != "0" && text != "1") {
        refuse(text, "0 or 1");
    }
    return text == "1";
}

std::vector<std::int32_t> storedNumbers(const std::string& text)
{
    std::vector<std::int32_t> numbers;
    for (const std::string& item : text.empty() ? std::vector<std::string>() : split(text, ' ')) {
        std::int32_t number = 0;
        if (parseDecimal(item, number) != std::errc()) {
            refuse(text, "a list of numbers");
        }
        numbers.push_back(number);
    }
    return numbers;
}

Rbac::ManagedObjectState storedState(const std::string& text)
{
    if (text != Rbac::READY_STR && text != Rbac::PENDING_STR) {
        refuse(text, "a state of an object");
    }
    return text == Rbac::READY_STR ? Rbac::READY : Rbac::PENDING;
}

Rbac::Propagation storedPropagation(const std::string& text)
{
    Rbac::Propagation propagation;
    if (!boost::conversion::try_lexical_convert(text, propagation)) {
        refuse(text, "a propagation");
    }
    return propagation;
}

Rbac::ObjectNamespace storedNamespace(const std::string& text)
{
    Rbac::ObjectNamespace ns;
    if (!parseNamespace(text, ns) || ns.str() != text) {
        refuse(text, "a namespace in its text form");
    }
    return ns;
}

std::string textOf(const std::vector<std::int32_t>& numbers)
{
    std::string text;
    for (const std::int32_t number : numbers) {
        text += (text.empty() ? "" : " ") + std::to_string(number);
    }
    return text;
}

std::string textOf(Rbac::ManagedObjectState state)
{
    return state == Rbac::READY ? Rbac::READY_STR : Rbac::PENDING_STR;
}

std::string textOf(Rbac::Propagation propagation) { return boost::lexical_cast<std::string>(propagation); }

} // namespace keepsafe_service
