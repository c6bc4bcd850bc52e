#include <sstream>
#include <stdexcept>
#include <string>

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

#include <keepsafe/rbac/api/ManagedObjects.h>

#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::Propagation;

TEST(Propagation, IsWrittenByItsName)
{
    EXPECT_EQ(boost::lexical_cast<std::string>(Propagation(Propagation::OBJECT)), "OBJECT");
    EXPECT_EQ(boost::lexical_cast<std::string>(Propagation(Propagation::CHILDREN)), "CHILDREN");
    std::ostringstream text;
    text << Propagation::OBJECT_AND_CHILDREN;
    EXPECT_EQ(text.str(), "OBJECT_AND_CHILDREN");
}

TEST(Propagation, ItsValuesHaveTheirNumbers)
{
    EXPECT_EQ(static_cast<int>(Propagation::OBJECT), 0);
    EXPECT_EQ(static_cast<int>(Propagation::CHILDREN), 1);
    EXPECT_EQ(static_cast<int>(Propagation::OBJECT_AND_CHILDREN), 2);
}

TEST(Propagation, AnyOtherValueCannotBeWritten)
{
    std::ostringstream text;
    const Propagation other(static_cast<Propagation::enum_type>(3));
    EXPECT_STREQ(thrownBy<std::invalid_argument>([&] { text << other; }).what(), "invalid propagation value");
    EXPECT_EQ(text.str(), "");
}

TEST(Propagation, IsReadAsOneWord)
{
    std::istringstream text("  CHILDREN OBJECT_AND_CHILDREN OBJECT");
    Propagation value;
    Propagation::enum_type plain = Propagation::OBJECT;
    text >> value >> plain;
    EXPECT_EQ(value, Propagation::CHILDREN);
    EXPECT_EQ(plain, Propagation::OBJECT_AND_CHILDREN);
    text >> value;
    EXPECT_EQ(value, Propagation::OBJECT);
}

TEST(Propagation, AnyOtherWordFailsAndLeavesTheValue)
{
    for (const char* word : {"object", "OBJECTS", "OBJECT,", "", "OBJEC", "O", "CHILD", "CHILDRENS",
                             "OBJECT_AND", "OBJECT_AND_CHILDREN_"}) {
        SCOPED_TRACE(word);
        std::istringstream text(word);
        Propagation value = Propagation::CHILDREN;
        text >> value;
        EXPECT_TRUE(text.fail());
        EXPECT_EQ(value, Propagation::CHILDREN);
        EXPECT_THROW(boost::lexical_cast<Propagation>(word), boost::bad_lexical_cast);
    }
}

} // namespace
} // namespace keepsafe_test
