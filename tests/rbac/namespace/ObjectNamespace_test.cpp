#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include <exception>
#include <map>
#include <new>
#include <set>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

#include <keepsafe/rbac/namespace/root_namespaces.h>

namespace {

using Tessara::Keepsafe::Rbac::namespaceToString;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
namespace roots = Tessara::Keepsafe::Rbac::root_namespaces;

ObjectNamespace parse(const std::string& text) { return boost::lexical_cast<ObjectNamespace>(text); }

/// What the stream operator makes of a text: the stream's state and the target afterwards.
struct Extraction {
    explicit Extraction(const std::string& text, ObjectNamespace before = ObjectNamespace())
        : target(std::move(before))
    {
        std::istringstream stream(text);
        stream >> target;
        failed = stream.fail();
        good = stream.good();
    }
    ObjectNamespace target;
    bool failed;
    bool good;
};

TEST(ObjectNamespace, TheRootPrintsAsOneBar) { EXPECT_EQ(ObjectNamespace().str(), "|"); }

TEST(ObjectNamespace, TheRootParsesFromOneBar)
{
    EXPECT_TRUE(parse("|").is_root());
    EXPECT_EQ(parse("|"), ObjectNamespace());
}

TEST(ObjectNamespace, TheRootHasNoParent) { EXPECT_FALSE(ObjectNamespace().parentNamespace()); }

TEST(ObjectNamespace, TheRootIsLessThanEveryOtherNamespace)
{
    EXPECT_LT(ObjectNamespace(), ObjectNamespace("A"));
    EXPECT_LT(ObjectNamespace(), ObjectNamespace(""));
    EXPECT_FALSE(ObjectNamespace() < ObjectNamespace());
}

TEST(ObjectNamespace, ConstructorsKeepComponentsInOrder)
{
    EXPECT_EQ(ObjectNamespace("a").str(), "|a|");
    EXPECT_EQ(ObjectNamespace("a", "b").str(), "|a|b|");
    EXPECT_EQ(ObjectNamespace("a", "b", "c").str(), "|a|b|c|");
    EXPECT_EQ(ObjectNamespace("a", "b", "c", "d").str(), "|a|b|c|d|");
    EXPECT_EQ(ObjectNamespace("a", "b", "c", "d", "e").str(), "|a|b|c|d|e|");
    EXPECT_EQ(ObjectNamespace("a", "b", "c", "d", "e", "f").str(), "|a|b|c|d|e|f|");
}

TEST(ObjectNamespace, ConstructorsDecodeNothing)
{
    EXPECT_EQ(ObjectNamespace("|a%41|").str(), "|%7Ca%2541%7C|");
}

TEST(ObjectNamespace, AppendingAComponentLeavesTheReceiverAlone)
{
    const ObjectNamespace policies = roots::KEEPSAFE | "policies";
    EXPECT_EQ((policies | std::string("p1")).str(), "|KEEPSAFE|policies|p1|");
    EXPECT_EQ(policies.str(), "|KEEPSAFE|policies|");
}

TEST(ObjectNamespace, AppendingANamespaceAppendsAllItsComponents)
{
    const ObjectNamespace tail("b", "c");
    EXPECT_EQ((ObjectNamespace("a") | tail).str(), "|a|b|c|");
    EXPECT_EQ((ObjectNamespace("a") | ObjectNamespace()).str(), "|a|");
    EXPECT_EQ(tail.str(), "|b|c|");
}

TEST(ObjectNamespace, AnAppendedNamespaceHasItsOwnText)
{
    const ObjectNamespace parent("a");
    ASSERT_EQ(parent.str(), "|a|");
    EXPECT_EQ((parent | "b").str(), "|a|b|");
    EXPECT_EQ((parent | parent).str(), "|a|a|");
}

TEST(ObjectNamespace, TheParentLacksTheLastComponent)
{
    EXPECT_EQ(*ObjectNamespace("A").parentNamespace(), ObjectNamespace());
    const ObjectNamespace child("A", "B");
    ASSERT_EQ(child.str(), "|A|B|");
    EXPECT_EQ(child.parentNamespace()->str(), "|A|");
}

TEST(ObjectNamespace, EveryNamespaceIsItsOwnAncestor)
{
    EXPECT_TRUE(ObjectNamespace("A").is_ancestor_of(ObjectNamespace("A")));
    EXPECT_TRUE(ObjectNamespace().is_ancestor_of(ObjectNamespace()));
}

TEST(ObjectNamespace, TheRootIsAnAncestorOfEverything)
{
    EXPECT_TRUE(ObjectNamespace().is_ancestor_of(ObjectNamespace("A", "B")));
}

TEST(ObjectNamespace, AnAncestorIsAPrefixInWholeComponents)
{
    EXPECT_TRUE(ObjectNamespace("A").is_ancestor_of(ObjectNamespace("A", "B")));
    EXPECT_FALSE(ObjectNamespace("A", "B").is_ancestor_of(ObjectNamespace("A")));
    EXPECT_FALSE(ObjectNamespace("A").is_ancestor_of(ObjectNamespace("AB")));
    EXPECT_FALSE(ObjectNamespace("A", "X").is_ancestor_of(ObjectNamespace("A", "B")));
}

TEST(ObjectNamespace, EqualityComparesComponentsNotText)
{
    const ObjectNamespace computed("A", "B");
    ASSERT_EQ(computed.str(), "|A|B|");
    EXPECT_TRUE(computed == ObjectNamespace("A", "B"));
    EXPECT_TRUE(computed != ObjectNamespace("A"));
    EXPECT_TRUE(computed != ObjectNamespace("A", "C"));
}

TEST(ObjectNamespace, OrderIsByComponentThenByLength)
{
    const ObjectNamespace a("A");
    const ObjectNamespace ab("A", "B");
    const ObjectNamespace ac("A", "C");
    const ObjectNamespace b("B");
    EXPECT_LT(a, ab);
    EXPECT_LT(ab, ac);
    EXPECT_LT(ac, b);
    EXPECT_LT(ObjectNamespace("A", "Z"), b);
    EXPECT_FALSE(b < ObjectNamespace("A", "Z"));
}

TEST(ObjectNamespace, OrderTakesBytesAsUnsigned)
{
    EXPECT_LT(ObjectNamespace("B"), ObjectNamespace("a"));
    EXPECT_LT(ObjectNamespace("z"), ObjectNamespace("\xE9"));
}

TEST(ObjectNamespace, AComponentThatIsAPrefixComesFirst)
{
    EXPECT_LT(ObjectNamespace("ab"), ObjectNamespace("abc"));
    EXPECT_LT(ObjectNamespace("ab", "z"), ObjectNamespace("abc", "a"));
}

TEST(ObjectNamespace, EncodingKeepsLettersDigitsAndFourMarks)
{
    const std::string kept = "abcxyzABCXYZ0123456789-*_.";
    EXPECT_EQ(ObjectNamespace::encode_component(kept), kept);
}

TEST(ObjectNamespace, EncodingTurnsASpaceIntoAPlusAndOtherBytesIntoHex)
{
    EXPECT_EQ(ObjectNamespace::encode_component("a b|c"), "a+b%7Cc");
    EXPECT_EQ(ObjectNamespace::encode_component("%"), "%25");
    EXPECT_EQ(ObjectNamespace::encode_component("+"), "%2B");
    EXPECT_EQ(ObjectNamespace::encode_component("~"), "%7E");
    EXPECT_EQ(ObjectNamespace::encode_component("/"), "%2F");
    EXPECT_EQ(ObjectNamespace::encode_component("\xE9"), "%E9");
    EXPECT_EQ(ObjectNamespace::encode_component(std::string(1, '\0')), "%00");
    EXPECT_EQ(ObjectNamespace::encode_component(""), "");
}

TEST(ObjectNamespace, ABarInAComponentIsEscapedInTheTextAndComesBack)
{
    const ObjectNamespace ns("a b|c");
    EXPECT_EQ(ns.str(), "|a+b%7Cc|");
    EXPECT_EQ(parse(ns.str()), ns);
}

TEST(ObjectNamespace, AnEmptyComponentGivesTwoBars)
{
    EXPECT_EQ(ObjectNamespace("a", "").str(), "|a||");
    EXPECT_EQ(parse("||"), ObjectNamespace(""));
    EXPECT_EQ(parse("|A||"), ObjectNamespace("A", ""));
}

TEST(ObjectNamespace, EveryByteSurvivesTheRoundTrip)
{
    for (int byte = 0; byte < 256; ++byte) {
        const ObjectNamespace ns(std::string(1, static_cast<char>(byte)), "x");
        EXPECT_EQ(parse(ns.str()), ns) << "byte " << byte;
    }
}

TEST(ObjectNamespace, ATextWithoutLeadingBarIsRefused)
{
    const Extraction extraction("A|", ObjectNamespace("before"));
    EXPECT_TRUE(extraction.failed);
    EXPECT_TRUE(extraction.target.is_root());
    EXPECT_THROW(parse("A|"), boost::bad_lexical_cast);
    EXPECT_THROW(parse(""), boost::bad_lexical_cast);
}

TEST(ObjectNamespace, ATextWithoutFinalBarIsRefusedAndKeepsWhatWasRead)
{
    const Extraction extraction("|A|B");
    EXPECT_TRUE(extraction.failed);
    EXPECT_EQ(extraction.target, ObjectNamespace("A"));
    EXPECT_THROW(parse("|A"), boost::bad_lexical_cast);
}

TEST(ObjectNamespace, ATextFollowedByAnythingIsRefused)
{
    EXPECT_THROW(parse("|A| "), boost::bad_lexical_cast);
    EXPECT_THROW(parse("|A|\n"), boost::bad_lexical_cast);
}

TEST(ObjectNamespace, ABrokenEscapeIsRefused)
{
    const Extraction extraction("|A|%4|");
    EXPECT_TRUE(extraction.failed);
    EXPECT_EQ(extraction.target, ObjectNamespace("A"));
    EXPECT_THROW(parse("|%zz|"), boost::bad_lexical_cast);
}

TEST(ObjectNamespace, ParsingDiscardsWhatTheTargetHeld)
{
    ObjectNamespace before("old", "parts");
    ASSERT_EQ(before.str(), "|old|parts|");
    const Extraction extraction("|new|", before);
    EXPECT_EQ(extraction.target, ObjectNamespace("new"));
    EXPECT_EQ(extraction.target.str(), "|new|");
}

TEST(ObjectNamespace, AfterParsingTheStreamIsGood) { EXPECT_TRUE(Extraction("|A|B|").good); }

TEST(ObjectNamespace, LeadingWhiteSpaceIsSkippedOnlyWhereTheStreamSkipsIt)
{
    EXPECT_EQ(Extraction(" \t|A|").target, ObjectNamespace("A"));
    EXPECT_THROW(parse(" |A|"), boost::bad_lexical_cast);
    std::istringstream keepsSpaces(" |A|");
    ObjectNamespace target;
    keepsSpaces >> std::noskipws >> target;
    EXPECT_TRUE(keepsSpaces.fail());
}

TEST(ObjectNamespace, OtherSpellingsParseToTheSameNamespaceAndPrintTheCanonicalOne)
{
    const ObjectNamespace ns = parse("|%6b%7c|");
    EXPECT_EQ(ns, ObjectNamespace("k|"));
    EXPECT_EQ(ns.str(), "|k%7C|");
}

/// A stream whose source fails in the middle.
class FailingBuffer : public std::stringbuf {
public:
    FailingBuffer() : std::stringbuf("|A|") {}

protected:
    int_type underflow() override { throw std::ios_base::failure("read error"); }
};

TEST(ObjectNamespace, AReadErrorIsNoEndOfText)
{
    FailingBuffer buffer;
    std::istream stream(&buffer);
    ObjectNamespace target;
    stream >> target;
    EXPECT_TRUE(stream.bad());
}

TEST(ObjectNamespace, PrintsThroughAStream)
{
    std::ostringstream stream;
    stream << ObjectNamespace("a b");
    EXPECT_EQ(stream.str(), "|a+b|");
    EXPECT_EQ(ObjectNamespace("a b").toLogStr(), "|a+b|");
}

TEST(NamespaceToString, GivesTheTextForm)
{
    const ObjectNamespace ns("a b", "", "\xE9|");
    std::string text = "before";
    EXPECT_EQ(namespaceToString(ns, text), 0);
    EXPECT_EQ(text, ns.str());
}

TEST(ObjectNamespace, IsAKeyOfMapsAndSets)
{
    const std::set<ObjectNamespace> names{ObjectNamespace("B"), ObjectNamespace("A", "B"),
                                          ObjectNamespace("A"), ObjectNamespace("A")};
    const std::vector<ObjectNamespace> inOrder(names.begin(), names.end());
    EXPECT_EQ(inOrder, (std::vector<ObjectNamespace>{ObjectNamespace("A"), ObjectNamespace("A", "B"),
                                                     ObjectNamespace("B")}));
}

TEST(ObjectNamespace, ALongTextIsAsCompleteAsAShortOne)
{
    for (const std::size_t length : {169U, 170U, 171U, 100000U}) {
        const ObjectNamespace name(std::string(length, '|'), "b");
        std::string expected = "|";
        for (std::size_t i = 0; i < length; ++i) {
            expected += "%7C";
        }
        EXPECT_EQ(ObjectNamespace::encode_component(std::string(length, '|')), expected.substr(1));
        EXPECT_EQ(name.str(), expected + "|b|");
    }
}

TEST(ObjectNamespace, ACopyTakesTheTextAlong)
{
    const ObjectNamespace original("a", "b");
    ASSERT_EQ(original.str(), "|a|b|");
    const ObjectNamespace copy = original; // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.str(), "|a|b|");
    EXPECT_NE(&copy.str(), &original.str());
}

TEST(ObjectNamespace, OperatorsAreFreeFunctionsOfItsNamespace)
{
    using Tessara::Keepsafe::Rbac::operator==;
    bool (*less)(const ObjectNamespace&, const ObjectNamespace&) = &Tessara::Keepsafe::Rbac::operator<;
    std::istream& (*read)(std::istream&, ObjectNamespace&) = &Tessara::Keepsafe::Rbac::operator>>;
    std::istringstream stream("|A|");
    ObjectNamespace target;
    read(stream, target);
    EXPECT_TRUE(target == ObjectNamespace("A"));
    EXPECT_TRUE(less(ObjectNamespace(), target));
}

/// Fails with an exception after its first bytes.
template <typename Exception>
class ThrowingBuffer : public std::streambuf {
public:
    explicit ThrowingBuffer(std::string bytes) : bytes_(std::move(bytes))
    {
        setg(bytes_.data(), bytes_.data(), bytes_.data() + bytes_.size());
    }

private:
    int_type underflow() override { throw Exception(); }
    int_type overflow(int_type /*byte*/) override { throw Exception(); }

    std::string bytes_;
};

TEST(ObjectNamespace, RunningOutOfMemoryPassesFromReadingAndWriting)
{
    ThrowingBuffer<std::bad_alloc> buffer("|A|half");
    std::iostream stream(&buffer);
    ObjectNamespace target;
    EXPECT_THROW(stream >> target, std::bad_alloc);
    stream.clear();
    EXPECT_THROW(stream << ObjectNamespace("A"), std::bad_alloc);
    EXPECT_EQ(stream.exceptions(), std::ios_base::goodbit) << "as the caller had set them";
}

TEST(ObjectNamespace, WhatElseABufferThrowsIsTheStreamsBadbit)
{
    ThrowingBuffer<std::exception> buffer("|A|half");
    std::iostream stream(&buffer);
    ObjectNamespace target;
    EXPECT_NO_THROW(stream >> target);
    EXPECT_TRUE(stream.bad());
    stream.clear();
    EXPECT_NO_THROW(stream << ObjectNamespace("A"));
    EXPECT_TRUE(stream.bad());
}

TEST(ObjectNamespace, StreamThatIsAskedForExceptionsThrowsThem)
{
    std::istringstream stream("no bar");
    stream.exceptions(std::ios_base::failbit);
    ObjectNamespace target;
    EXPECT_THROW(stream >> target, std::ios_base::failure);
    EXPECT_EQ(stream.exceptions(), std::ios_base::failbit);
}

} // namespace
