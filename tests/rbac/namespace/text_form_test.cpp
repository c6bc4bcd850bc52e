#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

/// Marks the text that a name has stored, so that it can be told from one that is computed again.
void mark(const ObjectNamespace& name) { const_cast<std::string&>(name.str())[0] = '#'; }

TEST(TextForm, EscapesEveryByteButThoseThatFormEncodingKeeps)
{
    const std::string kept = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-*_.";
    for (int byte = 0; byte < 256; ++byte) {
        const std::string component(1, static_cast<char>(byte));
        char escaped[4];
        std::snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned>(byte));
        const std::string expected = kept.find(component) != std::string::npos ? component
                                     : byte == ' '                             ? "+"
                                                                               : escaped;
        EXPECT_EQ(ObjectNamespace::encode_component(component), expected);
        EXPECT_EQ(ObjectNamespace(component).str(), '|' + expected + '|');
    }
}

TEST(TextForm, IsComputedOnce)
{
    const ObjectNamespace name("a", "b");
    mark(name);
    EXPECT_EQ(name.str(), "#a|b|");
    EXPECT_EQ(name.toLogStr(), "#a|b|");
}

TEST(TextForm, GoesWithACopyAndIsNotComputedAgain)
{
    const ObjectNamespace name("a", "b");
    mark(name);
    ObjectNamespace assigned;
    assigned = name;
    EXPECT_EQ(ObjectNamespace(name).str(), "#a|b|");
    EXPECT_EQ(assigned.str(), "#a|b|");
}

TEST(TextForm, OfANameWithOtherComponentsIsComputedAnew)
{
    const ObjectNamespace name("a", "b");
    mark(name);
    EXPECT_EQ((name | "c").str(), "|a|b|c|");
    EXPECT_EQ((name | name).str(), "|a|b|a|b|");
    EXPECT_EQ(name.parentNamespace()->str(), "|a|");
}

} // namespace
