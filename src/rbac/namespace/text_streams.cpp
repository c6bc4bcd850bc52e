#include <istream>
#include <new>
#include <ostream>
#include <utility>

#include <boost/lexical_cast.hpp>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/platform/uri/percent_encode.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "separator.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

/// Lets running out of memory pass, which a stream that is not asked for exceptions keeps to itself as
/// badbit. Other failures are reported as the stream reports them.
template <typename Stream, typename Action>
void passingBadAlloc(Stream& stream, const Action& action)
{
    const std::ios_base::iostate mask = stream.exceptions();
    if (stream.bad() || (mask & std::ios_base::badbit) != 0) {
        action();
        return;
    }
    stream.exceptions(mask | std::ios_base::badbit);
    try {
        action();
    } catch (const std::bad_alloc&) {
        stream.exceptions(mask);
        throw;
    } catch (...) {
        stream.exceptions(mask); // throws what the caller has asked for
        return;
    }
    stream.exceptions(mask);
}

} // namespace

const std::string& ObjectNamespace::toLogStr() const
{
    try {
        return str();
    } catch (const EC_exception&) {
        text_ = "[conversion failed]";
        return text_;
    }
}

std::ostream& operator<<(std::ostream& stream, const ObjectNamespace& value)
{
    try {
        const std::string& text = value.str();
        passingBadAlloc(stream, [&] { stream << text; });
    } catch (const EC_exception&) {
        stream.setstate(std::ios_base::failbit);
    }
    return stream;
}

std::istream& operator>>(std::istream& stream, ObjectNamespace& target)
{
    target.components_.clear();
    target.text_.clear();
    passingBadAlloc(stream, [&] { ObjectNamespace::parse(stream, target.components_); });
    return stream;
}

void ObjectNamespace::parse(std::istream& stream, std::list<std::string>& components)
{
    char first = '\0';
    if (!(stream >> first) || first != SEPARATOR) {
        stream.setstate(std::ios_base::failbit);
        return;
    }
    std::string segment;
    for (;;) {
        std::getline(stream, segment, SEPARATOR);
        if (stream.bad()) {
            return; // a read error is no end of text
        }
        if (stream.fail()) {
            stream.clear(); // nothing was left after the bar before: the text is complete
            return;
        }
        std::string component;
        if (stream.eof() || percentDecodeUriPart(segment, component) != Tessara::Keepsafe::Status::SUCCESS) {
            stream.setstate(std::ios_base::failbit);
            return;
        }
        components.push_back(std::move(component));
    }
}

int namespaceToString(const ObjectNamespace& value, std::string& out)
{
    try {
        out = boost::lexical_cast<std::string>(value);
        return Status::SUCCESS;
    } catch (const boost::bad_lexical_cast&) {
        return Status::CONVERSION_FAILED;
    }
}

} // namespace Tessara::Keepsafe::Rbac
