#ifndef KEEPSAFE_CACHE_WALK_SEGMENTCURSOR_H
#define KEEPSAFE_CACHE_WALK_SEGMENTCURSOR_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <emmintrin.h>

namespace Tessara::Keepsafe::Rbac::detail {

/// The segments of a name's text form one after the other; see `segment_iterator` for what a segment is.
///
/// The end of one segment decides where the next begins. When the cache's records are in the processor's
/// caches, a walk waits mostly for this. So all bars of the next 64 bytes are found at once, and the step
/// from segment to segment is a few operations on a register.
///
/// Refers to the text, which must outlive it unchanged.
class SegmentCursor {
public:
    /// Begins at `position`, where a segment begins.
    explicit SegmentCursor(std::string_view text, std::size_t position = 0) noexcept
        : text_(text.data()), size_(text.size()), position_(position)
    {
        findBars();
        measure();
    }

    [[nodiscard]] bool atEnd() const noexcept { return position_ >= size_; }

    /// Of the current segment in the text.
    [[nodiscard]] std::size_t position() const noexcept { return position_; }

    /// The current segment's bytes as a number, most significant byte first, padded with zeros.
    [[nodiscard]] std::int32_t value() const noexcept
    {
        const std::uint32_t unused = 32U - 8U * length_;
        return static_cast<std::int32_t>(__builtin_bswap32(bytes() << unused >> unused));
    }

    /// Whether the current segment ends with a bar.
    [[nodiscard]] bool endsComponent() const noexcept { return (bars_ >> (length_ - 1) & 1U) != 0; }

    /// To the next segment.
    void advance() noexcept
    {
        position_ += length_;
        bars_ >>= length_;
        if (__builtin_expect(position_ + LONGEST > foundUpTo_, 0)) {
            findBars();
        }
        measure();
    }

private:
    static constexpr std::uint32_t LONGEST = 4;
    static constexpr unsigned PIECE = 16;

    void measure() noexcept
    {
        length_ = static_cast<std::uint32_t>(__builtin_ctzll(bars_ | 1U << (LONGEST - 1))) + 1;
    }

    /// Four bytes from the position on; those after the text's end are zero.
    [[nodiscard]] std::uint32_t bytes() const noexcept
    {
        std::uint32_t result = 0;
        if (__builtin_expect(size_ < sizeof result, 0)) {
            std::memcpy(&result, text_ + position_, size_ - position_);
            return result;
        }
        const std::size_t last = size_ - sizeof result;
        const std::size_t at = position_ < last ? position_ : last;
        std::memcpy(&result, text_ + at, sizeof result);
        return result >> 8U * (position_ - at);
    }

    /// Finds the bars from the position on, at most 64.
    void findBars() noexcept
    {
        bars_ = 0;
        std::size_t at = position_;
        unsigned found = 0;
        for (; found < 64 && size_ - at >= PIECE; found += PIECE, at += PIECE) {
            bars_ |= barsOfPiece(text_ + at) << found;
        }
        if (found == 64) {
            foundUpTo_ = at;
            return;
        }
        const std::size_t left = size_ - at;
        if (size_ >= PIECE) {
            bars_ |= barsOfPiece(text_ + size_ - PIECE) >> (PIECE - left) << found;
        } else {
            for (std::size_t i = 0; i < left; ++i) {
                bars_ |= std::uint64_t{text_[at + i] == '|'} << i;
            }
        }
        foundUpTo_ = SIZE_MAX; // behind the text's end there is nothing to look for
    }

    [[nodiscard]] static std::uint64_t barsOfPiece(const char* piece) noexcept
    {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(piece));
        return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('|'))));
    }

    const char* text_;
    std::size_t size_;
    std::size_t position_;
    std::size_t foundUpTo_ = 0;
    std::uint64_t bars_ = 0; ///< bit i: the byte i behind the position is a bar
    std::uint32_t length_ = 0;
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
