#ifndef KEEPSAFE_CACHE_DETAIL_SEGMENT_ITERATOR_H
#define KEEPSAFE_CACHE_DETAIL_SEGMENT_ITERATOR_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace Tessara::Keepsafe::Rbac::detail {

/// Walks the segments of a namespace's text form. A segment is at most four bytes and ends after a bar at the
/// latest; its value is its bytes as a signed 32-bit number, most significant byte first, padded with zeros.
/// So `|ab|` has the segments `|` (0x7C000000) and `ab|` (0x61627C00).
///
/// Refers to the text, which must outlive it unchanged.
class segment_iterator {
public:
    segment_iterator(const std::string& text, std::size_t position) noexcept
        : text_(&text), position_(position)
    {
    }

    /// Value of the current segment. The position must be before the end of the text.
    [[nodiscard]] std::int32_t operator*() const noexcept
    {
        read();
        return value_;
    }

    /// Whether the current segment ends a component (or is the leading bar): it ends with a bar.
    [[nodiscard]] bool endsComponent() const noexcept
    {
        read();
        return (*text_)[position_ + length_ - 1] == '|';
    }

    segment_iterator& operator++() noexcept
    {
        read();
        position_ += length_;
        length_ = 0;
        return *this;
    }

    friend bool operator==(const segment_iterator& left, const segment_iterator& right) noexcept
    {
        return left.position_ == right.position_ || (left.atEnd() && right.atEnd());
    }
    friend bool operator!=(const segment_iterator& left, const segment_iterator& right) noexcept
    {
        return !(left == right);
    }

private:
    [[nodiscard]] bool atEnd() const noexcept { return position_ >= text_->size(); }

    void read() const noexcept
    {
        if (length_ != 0) {
            return;
        }
        const std::size_t left = text_->size() - position_;
        unsigned char bytes[4] = {0, 0, 0, 0};
        if (left >= sizeof bytes) {
            std::memcpy(bytes, text_->data() + position_, sizeof bytes);
        } else {
            std::memcpy(bytes, text_->data() + position_, left);
        }
        std::size_t length = 0;
        std::uint32_t value = 0;
        const std::size_t limit = left < sizeof bytes ? left : sizeof bytes;
        while (length < limit) {
            value |= std::uint32_t{bytes[length]} << (24U - 8U * static_cast<unsigned>(length));
            if (bytes[length++] == '|') {
                break;
            }
        }
        value_ = static_cast<std::int32_t>(value);
        length_ = static_cast<std::uint8_t>(length);
    }

    const std::string* text_;
    std::size_t position_;
    mutable std::int32_t value_ = 0;
    mutable std::uint8_t length_ = 0; ///< 0: the segment at `position_` has not been read yet
};

/// Begin and end of the segments of the namespace's text form, which is computed if necessary.
inline std::pair<segment_iterator, segment_iterator> namespaceSegments(const ObjectNamespace& ns)
{
    const std::string& text = ns.str();
    return {segment_iterator(text, 0), segment_iterator(text, text.size())};
}

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
