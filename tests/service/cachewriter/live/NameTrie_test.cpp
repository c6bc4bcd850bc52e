#include "cachewriter/live/NameTrie.h"

#include <string>

#include <gtest/gtest.h>

#include "errors/InputError.h"

namespace {

using keepsafe_service::InputError;
using keepsafe_service::NameTrie;

void insert(NameTrie& trie, const std::string& text, NameTrie::NodeOffset object)
{
    trie.reserveFor(text);
    trie.insert(text, object);
}

/// Records on the way to names.
std::size_t recordsInUse(const NameTrie& trie) { return trie.nodes().size() - 1 - trie.nodes().freeCount(); }

TEST(NameTrie, LeadsToTheObjectsOfItsNamesAndToNoOther)
{
    NameTrie trie;
    insert(trie, "|", 16);
    insert(trie, "|A|abcdefgh|", 32);
    insert(trie, "|A|abcd|", 48);

    EXPECT_EQ(trie.find("|"), 16U);
    EXPECT_EQ(trie.find("|A|abcdefgh|"), 32U);
    EXPECT_EQ(trie.find("|A|abcd|"), 48U);
    EXPECT_EQ(trie.find("|A|"), 0U) << "the beginning of a name";
    EXPECT_EQ(trie.find("|A|abcd|x|"), 0U);
    EXPECT_EQ(trie.find("|B|"), 0U);
}

TEST(NameTrie, WithoutNamesHasNoRoot)
{
    NameTrie trie;
    EXPECT_EQ(trie.root(), 0U);
    EXPECT_EQ(trie.find("|"), 0U);

    insert(trie, "|A|", 16);
    trie.remove("|A|");

    EXPECT_EQ(trie.root(), 0U);
    EXPECT_EQ(recordsInUse(trie), 0U);
}

TEST(NameTrie, KeepsOfTheWayToARemovedNameWhatOthersNeed)
{
    NameTrie trie;
    insert(trie, "|A|", 16);                   // "|" "A|"
    insert(trie, "|A|abcdefghijkl|", 32);      // "abcd" "efgh" "ijkl" "|"
    insert(trie, "|A|abcdefghijkl|deep|", 48); // "deep" "|"
    insert(trie, "|A|abcdXY|", 64);            // "XY|"
    ASSERT_EQ(recordsInUse(trie), 9U);

    EXPECT_EQ(trie.remove("|A|abcdefghijkl|"), 32U);
    EXPECT_EQ(recordsInUse(trie), 9U) << "a longer name goes on";
    EXPECT_EQ(trie.remove("|A|abcdefghijkl|deep|"), 48U);
    EXPECT_EQ(recordsInUse(trie), 4U) << "\"|\", \"A|\", \"abcd\", \"XY|\"";
    EXPECT_EQ(trie.find("|A|abcdXY|"), 64U);
    EXPECT_EQ(trie.remove("|A|abcdXY|"), 64U);
    EXPECT_EQ(recordsInUse(trie), 2U);
    EXPECT_EQ(trie.find("|A|"), 16U);
}

TEST(NameTrie, RemovesNothingForAnUnknownName)
{
    NameTrie trie;
    insert(trie, "|A|abcdefgh|", 16);

    EXPECT_EQ(trie.remove("|A|"), 0U);
    EXPECT_EQ(trie.remove("|A|abcd|"), 0U);
    EXPECT_EQ(trie.remove("|A|abcdefgh|x|"), 0U);
    EXPECT_EQ(trie.find("|A|abcdefgh|"), 16U);
}

TEST(NameTrie, MakesRoomForWhatANameNeedsAndNoMore)
{
    NameTrie trie(1 + 6);
    insert(trie, "|A|abcdefgh|", 16); // five records

    EXPECT_NO_THROW(trie.reserveFor("|A|abcdefgh|x|"));
    EXPECT_NO_THROW(trie.reserveFor("|A|abcd|"));
    EXPECT_THROW(trie.reserveFor("|A|abcdefgh|abcd|"), InputError);
    EXPECT_EQ(trie.nodes().size(), 6U);
}

TEST(NameTrie, TakesNamesOfAnyLength)
{
    NameTrie trie;
    std::string text = "|";
    for (int depth = 0; depth < 50'000; ++depth) {
        text += "d|";
    }
    insert(trie, text, 16);

    EXPECT_EQ(trie.find(text), 16U);
    EXPECT_EQ(trie.remove(text), 16U);
    EXPECT_EQ(recordsInUse(trie), 0U);
}

} // namespace
