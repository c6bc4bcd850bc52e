#include "cachewriter/SegmentTrie.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using keepsafe_service::buildSegmentTrie;
using keepsafe_service::TrieEntry;
using Tessara::Keepsafe::Rbac::NodeOffset;
using Tessara::Keepsafe::Rbac::detail::SegmentNode;
using testing::ElementsAre;
using testing::SizeIs;
using Trie = std::vector<SegmentNode>;

/// The trie of these names; the n-th of them in byte order leads to object 16 n.
class NamedTrie {
public:
    explicit NamedTrie(std::set<std::string> names) : names_(std::move(names))
    {
        std::vector<TrieEntry> entries;
        for (const std::string& name : names_) {
            entries.push_back({name, static_cast<NodeOffset>(16 * (entries.size() + 1))});
        }
        nodes_ = buildSegmentTrie(entries);
    }

    const Trie& nodes() const { return nodes_; }
    const SegmentNode& at(NodeOffset offset) const { return nodes_.at(offset / sizeof(SegmentNode)); }
    const std::set<std::string>& names() const { return names_; }

    /// All names with their objects, found by walking every tree of every level.
    std::map<std::string, NodeOffset> read() const
    {
        std::map<std::string, NodeOffset> found;
        visit(nodes_.size() > 1 ? sizeof(SegmentNode) : 0, "", found);
        return found;
    }

private:
    void visit(NodeOffset offset, const std::string& prefix, std::map<std::string, NodeOffset>& found) const
    {
        if (offset == 0) {
            return;
        }
        const SegmentNode& node = at(offset);
        visit(node.left, prefix, found);
        std::string text = prefix;
        for (unsigned shift = 24; shift <= 24; shift -= 8) {
            const char byte = static_cast<char>(static_cast<std::uint32_t>(node.key) >> shift);
            if (byte != '\0') {
                text += byte;
            }
        }
        if (node.object != 0) {
            found.emplace(text, node.object);
        }
        visit(node.nextLevel, text, found);
        visit(node.right, prefix, found);
    }

    std::set<std::string> names_;
    Trie nodes_;
};

std::set<std::string> manyNames(unsigned count)
{
    std::set<std::string> names{"|", "|KEEPSAFE|"};
    for (unsigned number = 0; number < count; ++number) {
        const std::string digits = std::to_string(number);
        names.insert("|KEEPSAFE|vm-" + std::string(7 - digits.size(), '0') + digits + "-prod.example|");
    }
    return names;
}

TEST(SegmentTrie, IsEmptyButForRecordZeroWithoutNames) { EXPECT_THAT(NamedTrie({}).nodes(), SizeIs(1)); }

TEST(SegmentTrie, HoldsNamesThatBeginEachOther)
{
    const NamedTrie trie({"|", "|A|", "|A||", "|AB|", "|ABC|", "|ABCD|", "|ABCD|E|", "|ABCDE|"});

    // A bar comes after all letters, so longer components come before shorter ones.
    EXPECT_THAT(trie.read(),
                ElementsAre(std::pair("|", 16), std::pair("|ABCDE|", 32), std::pair("|ABCD|", 48),
                            std::pair("|ABCD|E|", 64), std::pair("|ABC|", 80), std::pair("|AB|", 96),
                            std::pair("|A|", 112), std::pair("|A||", 128)));
}

TEST(SegmentTrie, HoldsEveryNameOfALargeSetWithItsObject)
{
    const NamedTrie trie(manyNames(5000));
    std::map<std::string, NodeOffset> expected;
    for (const std::string& name : trie.names()) {
        expected.emplace(name, static_cast<NodeOffset>(16 * (expected.size() + 1)));
    }

    EXPECT_EQ(trie.read(), expected);
}

TEST(SegmentTrie, OrdersKeysAsSignedNumbers)
{
    const NamedTrie trie({"|\xFF|", "|a|"});
    const SegmentNode& bar = trie.at(sizeof(SegmentNode));
    const SegmentNode& root = trie.at(bar.nextLevel);

    // Of two keys the larger is the root, the smaller its left child: the byte 0xFF sorts first.
    EXPECT_EQ(root.key, 0x617C0000);
    EXPECT_EQ(static_cast<std::uint32_t>(trie.at(root.left).key), 0xFF7C0000U);
    EXPECT_EQ(root.right, 0U);
}

TEST(SegmentTrie, KeepsTheTailOfANameInAdjacentRecords)
{
    const NamedTrie trie({"|a-long-name-without-company|"});
    const Trie& nodes = trie.nodes();

    for (std::size_t number = 1; number + 1 < nodes.size(); ++number) {
        EXPECT_EQ(nodes[number].nextLevel, (number + 1) * sizeof(SegmentNode));
    }
    EXPECT_EQ(nodes.back().object, 16U);
}

TEST(SegmentTrie, KeepsTheSubtrieOfEveryNameInOnePiece)
{
    // Each of the two areas is read through without ever leaving it.
    std::set<std::string> names;
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        names.insert(std::string("|one|") + letter + "-object|");
        names.insert(std::string("|two|") + letter + "-object|");
    }
    const NamedTrie trie(names);
    const std::function<void(NodeOffset, std::set<NodeOffset>&)> collect = [&](NodeOffset offset,
                                                                               std::set<NodeOffset>& met) {
        if (offset != 0) {
            met.insert(offset);
            collect(trie.at(offset).left, met);
            collect(trie.at(offset).right, met);
            collect(trie.at(offset).nextLevel, met);
        }
    };
    const SegmentNode& upper = trie.at(trie.at(sizeof(SegmentNode)).nextLevel);

    for (const NodeOffset area : {upper.nextLevel, trie.at(upper.left).nextLevel}) {
        std::set<NodeOffset> met;
        collect(area, met);
        EXPECT_EQ(*met.rbegin() - *met.begin(), (met.size() - 1) * sizeof(SegmentNode));
    }
}

TEST(SegmentTrie, TakesNamesOfAnyLength)
{
    const NamedTrie trie({"|" + std::string(1000000, 'x') + "|"});

    EXPECT_THAT(trie.nodes(), SizeIs(1 + 1 + 250000 + 1));
}

} // namespace
