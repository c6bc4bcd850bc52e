#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "report/NameTree.h"

namespace keepsafe_test {
namespace {

using ksrbac::NameTree;

std::vector<std::string> walked(const NameTree& tree)
{
    std::vector<std::string> names;
    NameTree::Walk walk(tree);
    while (walk.next()) {
        names.push_back(walk.name() + ' ' + std::to_string(walk.value()));
    }
    return names;
}

TEST(NameTree, GivesBackTheNamesWithTheirValues)
{
    NameTree tree;
    const std::vector<std::string> names{"|",       "|A+b|", "|Ab|", "|A|", "|A|x|y|",
                                         "|A|x|z|", "||",    "|||",  "|~|"};
    std::vector<std::string> expected;
    std::uint32_t value = 7;
    for (const std::string& name : names) {
        tree.add(name, ++value);
        expected.push_back(name + ' ' + std::to_string(value));
    }
    EXPECT_EQ(walked(tree), expected);
}

TEST(NameTree, NumbersItsNodesFromTheRootDownwards)
{
    NameTree tree;
    EXPECT_EQ(tree.add("|a|b|", 1), 2U);
    EXPECT_EQ(tree.add("|a|c|d|", 1), 4U);
    EXPECT_EQ(tree.add("|e|", 1), 5U);
    EXPECT_EQ(tree.components(), "a|b|c|d|e|");
    EXPECT_EQ(tree.ascents(), (std::vector<std::uint32_t>{0, 0, 0, 1, 0, 3}));
    EXPECT_EQ(tree.values(), (std::vector<std::uint32_t>{0, 0, 1, 0, 1, 1}));
}

TEST(NameTree, WithoutNamesHasTheRootAlone)
{
    const NameTree tree;
    EXPECT_EQ(walked(tree), std::vector<std::string>{});
    EXPECT_EQ(tree.values().size(), 1U);
}

} // namespace
} // namespace keepsafe_test
