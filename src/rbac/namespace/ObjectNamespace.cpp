#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include <algorithm>
#include <istream>
#include <ostream>
#include <utility>

#include <boost/lexical_cast.hpp>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/platform/uri/percent_encode.h>

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char SEPARATOR = '|';
constexpr char HEX_DIGITS[] = "0123456789ABCDEF";

/// Letters and digits of ASCII, whatever the locale says, and the four marks that form encoding leaves alone.
constexpr bool staysAsItIs(unsigned char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '*' || byte == '_' || byte == '.';
}

/// What one byte may become: 0 for itself, the length of its replacement otherwise.
struct EncodingTable {
    bool copied[256] = {};
    constexpr EncodingTable()
    {
        for (unsigned byte = 0; byte < 256; ++byte) {
            copied[byte] = staysAsItIs(static_cast<unsigned char>(byte));
        }
    }
};
constexpr EncodingTable ENCODING;

/// Appends the escaped form of `component` in one pass over a buffer that fits the longest outcome.
void appendEncoded(const std::string& component, std::string& out)
{
    const std::size_t start = out.size();
    out.resize(start + 3 * component.size());
    char* end = out.data() + start;
    for (const char character : component) {
        const auto byte = static_cast<unsigned char>(character);
        if (ENCODING.copied[byte]) {
            *end++ = character;
        } else if (byte == ' ') {
            *end++ = '+';
        } else {
            *end++ = '%';
            *end++ = HEX_DIGITS[byte >> 4U];
            *end++ = HEX_DIGITS[byte & 15U];
        }
    }
    out.resize(static_cast<std::size_t>(end - out.data()));
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
            atMost += 3 * component.size() + 1;
        }
        std::string text;
        text.reserve(atMost);
        text.push_back(SEPARATOR);
        for (const std::string& component : components_) {
            appendEncoded(component, text);
            text.push_back(SEPARATOR);
        }
        text_ = std::move(text);
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
    std::string encoded;
    appendEncoded(component, encoded);
    return encoded;
}

bool operator==(const ObjectNamespace& left, const ObjectNamespace& right) noexcept
{
    return left.components_ == right.components_;
}

bool operator<(const ObjectNamespace& left, const ObjectNamespace& right) noexcept
{
    return left.components_ < right.components_;
}

std::ostream& operator<<(std::ostream& stream, const ObjectNamespace& value)
{
    try {
        stream << value.str();
    } catch (const EC_exception&) {
        stream.setstate(std::ios_base::failbit);
    }
    return stream;
}

std::istream& operator>>(std::istream& stream, ObjectNamespace& target)
{
    target.components_.clear();
    target.text_.clear();
    char first = '\0';
    if (!(stream >> first) || first != SEPARATOR) {
        stream.setstate(std::ios_base::failbit);
        return stream;
    }
    std::string segment;
    for (;;) {
        std::getline(stream, segment, SEPARATOR);
        if (stream.bad()) {
            return stream; // a read error is no end of text
        }
        if (stream.fail()) {
            stream.clear(); // nothing was left after the bar before: the text is complete
            return stream;
        }
        std::string component;
        if (stream.eof() || percentDecodeUriPart(segment, component) != Tessara::Keepsafe::Status::SUCCESS) {
            stream.setstate(std::ios_base::failbit);
            return stream;
        }
        target.components_.push_back(std::move(component));
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
