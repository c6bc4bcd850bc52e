/// Names whose text form cannot be computed, which no name of the library's is. This program is built with
/// the source that stands on the text form, and has a text form of its own.

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include <functional>
#include <new>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/platform/status/EC_exception.h>

namespace {

std::function<void()> beforeTheText;

} // namespace

namespace Tessara::Keepsafe::Rbac {

const std::string& ObjectNamespace::str() const
{
    if (text_.empty()) {
        beforeTheText();
        text_ = "|text|";
    }
    return text_;
}

} // namespace Tessara::Keepsafe::Rbac

namespace {

using Tessara::Keepsafe::Rbac::namespaceToString;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

void failWithStatus() { throw EC_exception(31); }
void failWithoutMemory() { throw std::bad_alloc(); }

class TextFault : public testing::Test {
protected:
    TextFault() { beforeTheText = failWithStatus; }

    const ObjectNamespace name_{"A"};
};

TEST_F(TextFault, IsReplacedInLogLines) { EXPECT_EQ(name_.toLogStr(), "[conversion failed]"); }

TEST_F(TextFault, OfALogLineIsTheNamesTextFromThenOn)
{
    EXPECT_EQ(&name_.toLogStr(), &name_.toLogStr());
    beforeTheText = [] {};
    EXPECT_EQ(name_.str(), "[conversion failed]");
}

TEST_F(TextFault, IsTheStreamsFailbit)
{
    std::ostringstream stream;
    EXPECT_NO_THROW(stream << name_);
    EXPECT_TRUE(stream.fail());
    EXPECT_FALSE(stream.bad());
    EXPECT_EQ(stream.str(), "");
}

TEST_F(TextFault, IsStatus114AndLeavesTheTargetAlone)
{
    std::string out = "before";
    EXPECT_EQ(namespaceToString(name_, out), 114);
    EXPECT_EQ(out, "before");
}

TEST_F(TextFault, MemoryThatRunsOutPasses)
{
    beforeTheText = failWithoutMemory;
    std::string out = "before";
    std::ostringstream stream;
    EXPECT_THROW(namespaceToString(name_, out), std::bad_alloc);
    EXPECT_THROW(stream << name_, std::bad_alloc);
    EXPECT_THROW((void)name_.toLogStr(), std::bad_alloc);
    EXPECT_EQ(out, "before");
}

} // namespace
