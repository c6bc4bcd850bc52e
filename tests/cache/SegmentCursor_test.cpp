#include "SegmentCursor.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/cache/detail/segment_iterator.h>

namespace {

using Tessara::Keepsafe::Rbac::detail::segment_iterator;
using Tessara::Keepsafe::Rbac::detail::SegmentCursor;

/// Each segment's value and whether it ends a component, by the cursor and by the iterator.
void expectSameSegments(const std::string& text)
{
    SegmentCursor cursor(text);
    const segment_iterator end(text, text.size());
    for (segment_iterator segment(text, 0); segment != end; ++segment) {
        ASSERT_FALSE(cursor.atEnd()) << text;
        ASSERT_EQ(cursor.value(), *segment) << text;
        ASSERT_EQ(cursor.endsComponent(), segment.endsComponent()) << text;
        cursor.advance();
    }
    ASSERT_TRUE(cursor.atEnd()) << text;
}

TEST(SegmentCursor, CutsNamesOfEveryLengthAsTheIteratorDoes)
{
    std::mt19937 random(11);
    for (std::size_t length = 1; length < 300; ++length) {
        for (const unsigned oneInSoMany : {1U, 2U, 5U, 30U}) {
            // In memory of its exact size, so that the sanitizers detect a read beyond its end.
            std::string text;
            text.reserve(length);
            while (text.size() + 1 < length) {
                text += random() % oneInSoMany == 0 ? '|' : static_cast<char>(random());
            }
            expectSameSegments(text + '|');
        }
    }
}

TEST(SegmentCursor, ATextWithoutABarAtItsEndEndsAllTheSame)
{
    for (const std::string text : {"a", "abcd", "|abcde", "[conversion failed]", "0123456789abcdef"}) {
        expectSameSegments(text);
    }
}

} // namespace
