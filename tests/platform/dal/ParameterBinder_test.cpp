#include <keepsafe/platform/dal/Dal.h>

#include <string>

#include <gtest/gtest.h>

namespace {

namespace Dal = Tessara::Dal;

TEST(ParameterBinder, IsAtFirstATableWithoutParameters)
{
    EXPECT_EQ(Dal::ParameterBinder().get()[0].number, 0);
}

TEST(ParameterBinder, DescribesTextsInTheirOrder)
{
    Dal::ParameterBinder binder;
    binder.bindInputString("first", Dal::ZERO_TERMINATED, false);
    binder.bindInputString("second", 3, false);
    const Dal::DalOdbcView::BindingStruct* const table = binder.get();
    EXPECT_EQ(table[0].number, 1);
    EXPECT_STREQ(table[0].name, "ptr");
    EXPECT_EQ(table[0].valueType, 1000);
    EXPECT_EQ(table[0].sqlType, 1002);
    EXPECT_EQ(table[0].kind, 1);
    EXPECT_EQ(std::string(table[0].text, table[0].length), "first");
    EXPECT_EQ(table[1].number, 2);
    EXPECT_EQ(std::string(table[1].text, table[1].length), "sec");
    EXPECT_EQ(table[2].number, 0);
}

TEST(ParameterBinder, KeepsThePointerOfATextThatItIsNotToCopy)
{
    const std::string text = "text";
    Dal::ParameterBinder binder;
    binder.bindInputString(text.c_str(), Dal::ZERO_TERMINATED, false);
    EXPECT_EQ(binder.get()[0].text, text.c_str());
}

TEST(ParameterBinder, CopiesATextThatMayGo)
{
    Dal::ParameterBinder binder;
    for (int at = 0; at < 20; ++at) {
        std::string text = "text " + std::to_string(at);
        binder.bindInputString(text.c_str(), Dal::ZERO_TERMINATED, true);
        text.assign(text.size(), '#');
    }
    for (int at = 0; at < 20; ++at) {
        EXPECT_EQ(binder.get()[at].text, "text " + std::to_string(at));
    }
}

TEST(ParameterBinder, TakesANullTextForSqlsNull)
{
    Dal::ParameterBinder binder;
    binder.bindInputString(nullptr, Dal::ZERO_TERMINATED, true);
    binder.bindInputString(nullptr, 7, false);
    EXPECT_EQ(binder.get()[0].text, nullptr);
    EXPECT_EQ(binder.get()[1].text, nullptr);
    EXPECT_EQ(binder.get()[1].length, 0U);
}

TEST(ParameterBinder, MarksASizeThatIsNoneForExecuteToReject)
{
    Dal::ParameterBinder binder;
    binder.bindInputString("text", -1, false);
    EXPECT_NE(binder.get()[0].kind, Dal::BINDING_INPUT);
    EXPECT_EQ(binder.get()[0].length, 0U);
}

} // namespace
