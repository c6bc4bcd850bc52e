#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include <algorithm>
#include <istream>
#include <ostream>
#include <utility>

#include <boost/container/small_vector.hpp>
#include <boost/lexical_cast.hpp>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/platform/uri/percent_encode.h>

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char SEPARATOR = '|';
constexpr char HEX_DIGITS[] = "0123456789ABCDEF";

/// ASCII letters and digits, whatever the locale, and the four marks that form encoding leaves unchanged.
constexpr bool staysAsItIs(unsigned char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '*' || byte == '_' || byte == '.';
}

struct CopiedBytes {
    bool has[256] = {};
    constexpr CopiedBytes()
    {
        for (unsigned byte = 0; byte < 256; ++byte) {
            has[byte] = staysAsItIs(static_cast<unsigned char>(byte));
        }
    }
};
constexpr CopiedBytes COPIED;

/// A buffer for text whose length is not yet known. On the stack for usual names, so that the stored text has
/// its exact size.
using Buffer = boost::container::small_vector<char, 512>;

constexpr std::size_t LONGEST_ESCAPE = 3;

/// Writes the escaped form of `component` to a buffer with enough room. Returns its end.
char* encode(const std::string& component, char* out) noexcept
{
    for (const char character : component) {
        const auto byte = static_cast<unsigned char>(character);
        if (COPIED.has[byte]) {
            *out++ = character;
        } else if (character == ' ') {
            *out++ = '+';
        } else {
            *out++ = '%';
            *out++ = HEX_DIGITS[byte >> 4U];
            *out++ = HEX_DIGITS[byte & 15U];
        }
    }
    return out;
}

} // namespace

ObjectNamespace::ObjectNamespace(const std::string& first) : components_{first} {}

ObjectNamespace::ObjectNamespace(const std::string& first, const std::string& second)
    : components_{first, second}
{
}

ObjectNamespace::ObjectNamespace(const std::string& first, const std::string& second,
                                 const std::string& third)
    : components_{first, second, third}
{
}

ObjectNamespace::ObjectNamespace(const std::string& first, const std::string& second,
                                 const std::string& third, const std::string& fourth)
    : components_{first, second, third, fourth}
{
}

ObjectNamespace::ObjectNamespace(const std::string& first, const std::string& second,
                                 const std::string& third, const std::string& fourth,
                                 const std::string& fifth)
    : components_{first, second, third, fourth, fifth}
{
}

ObjectNamespace::ObjectNamespace(const std::string& first, const std::string& second,
                                 const std::string& third, const std::string& fourth,
                                 const std::string& fifth, const std::string& sixth)
    : components_{first, second, third, fourth, fifth, sixth}
{
}

ObjectNamespace ObjectNamespace::operator|(const std::string& component) const
{
    ObjectNamespace result;
    result.components_ = components_;
    result.components_.push_back(component);
    return result;
}

ObjectNamespace ObjectNamespace::operator|(ObjectNamespace other) const
{
    ObjectNamespace result;
    result.components_ = components_;
    result.components_.splice(result.components_.end(), other.components_);
    return result;
}

boost::optional<ObjectNamespace> ObjectNamespace::parentNamespace() const
{
    if (components_.empty()) {
        return boost::none;
    }
    ObjectNamespace parent;
    parent.components_.assign(components_.begin(), std::prev(components_.end()));
    return parent;
}

bool ObjectNamespace::is_ancestor_of(const ObjectNamespace& other) const noexcept
{
    return components_.size() <= other.components_.size() &&
           std::equal(components_.begin(), components_.end(), other.components_.begin());
}

const std::string& ObjectNamespace::str() const
{
    if (text_.empty()) {
        std::size_t atMost = 1;
        for (const std::string& component : components_) {
            atMost += LONGEST_ESCAPE * component.size() + 1;
        }
        Buffer buffer(atMost, boost::container::default_init);
        char* end = buffer.data();
        *end++ = SEPARATOR;
        for (const std::string& component : components_) {
            end = encode(component, end);
            *end++ = SEPARATOR;
        }
        text_.assign(buffer.data(), end);
    }
    return text_;
}

const std::string& ObjectNamespace::toLogStr() const
{
    try {
        return str();
    } catch (const EC_exception&) {
        text_ = "[conversion failed]";
        return text_;
    }
}

std::string ObjectNamespace::encode_component(const std::string& component)
{
    Buffer buffer(LONGEST_ESCAPE * component.size(), boost::container::default_init);
    return {buffer.data(), encode(component, buffer.data())};
}

bool operator==(const ObjectNamespace& left, const ObjectNamespace& right) noexcept
{
    return left.components_ == right.components_;
}

bool operator<(const ObjectNamespace& left, const ObjectNamespace& right) noexcept
{
    // Not the operator of lists, which compares equal components twice.
    auto other = right.components_.begin();
    for (const std::string& component : left.components_) {
        if (other == right.components_.end()) {
            return false;
        }
        const int order = component.compare(*other);
        if (order != 0) {
            return order < 0;
        }
        ++other;
    }
    return other != right.components_.end();
}

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
