#include "resources/Filter.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "accesscontrol/Refusal.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::Filter;
using keepsafe_service::Refusal;

const std::vector<std::string> FIELDS = {"id", "name"};

bool matches(const std::string& filter, const std::string& id, const std::string& name)
{
    return Filter::parse(filter, FIELDS).matches([&](std::size_t field) { return field == 0 ? id : name; });
}

struct Match {
    std::string filter;
    bool isMatched;
};

void PrintTo(const Match& match, std::ostream* stream) { *stream << match.filter; }

class FilterMatch : public testing::TestWithParam<Match> {};

TEST_P(FilterMatch, DecidesOnTheRoleBackupOperatorWithTheId17)
{
    EXPECT_EQ(matches(GetParam().filter, "17", "Backup operator"), GetParam().isMatched);
}

INSTANTIATE_TEST_SUITE_P(
    Table, FilterMatch,
    testing::Values(Match{"name eq 'Backup operator'", true}, Match{"name eq 'Backup'", false},
                    Match{"name eq 'backup operator'", false}, Match{"name eq ''", false},
                    Match{"contains(name,'up op')", true}, Match{"contains(name,'')", true},
                    Match{"contains(name,'xyz')", false}, Match{"startswith(id,'1')", true},
                    Match{"startswith(id,'7')", false}, Match{"startswith(id,'170')", false},
                    Match{"contains(id,'7')", true}, Match{"id eq '17' and contains(name,'Back')", true},
                    Match{"id eq '17' and contains(name,'Back') and id eq '18'", false},
                    Match{"  contains ( name , 'Back' )  and\tid eq'17' ", true}));

TEST(Filter, TakesTwoQuotesInALiteralForOne)
{
    EXPECT_TRUE(matches("name eq 'the auditor''s'", "", "the auditor's"));
    EXPECT_TRUE(matches("name eq ''''", "", "'"));
    EXPECT_TRUE(matches("contains(name,'''s') and id eq '1'", "1", "auditor's"));
}

TEST(Filter, ComparesBytesOfAnyValue)
{
    const std::string odd("a\0b\xFF", 4);
    EXPECT_TRUE(matches("name eq '" + odd + "'", "", odd));
    EXPECT_FALSE(matches("name eq 'a'", "", odd));
}

struct BadFilter {
    std::string filter;
    std::string message;
};

void PrintTo(const BadFilter& bad, std::ostream* stream) { *stream << bad.filter; }

class MalformedFilter : public testing::TestWithParam<BadFilter> {};

TEST_P(MalformedFilter, IsRefusedWithThePositionOfTheFault)
{
    const auto refusal = thrownBy<Refusal>([] { (void)Filter::parse(GetParam().filter, FIELDS); });
    EXPECT_EQ(refusal.kind(), Refusal::Malformed);
    EXPECT_EQ(refusal.what(), "filter: position " + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Table, MalformedFilter,
    testing::Values(BadFilter{"", "1: expected a field or a function"},
                    BadFilter{"  ", "3: expected a field or a function"},
                    BadFilter{"name", "5: expected 'eq'"}, BadFilter{"name ne 'x'", "6: expected 'eq'"},
                    BadFilter{"name eq", "8: expected a text in single quotes"},
                    BadFilter{"name eq x", "9: expected a text in single quotes"},
                    BadFilter{"name eq 'x", "11: expected a single quote that ends the text"},
                    BadFilter{"name eq 'x''", "13: expected a single quote that ends the text"},
                    BadFilter{"name eq 'x' or id eq '1'", "13: expected 'and'"},
                    BadFilter{"name eq 'x' and", "16: expected a field or a function"},
                    BadFilter{"name eq 'x' 'y'", "13: expected 'and'"},
                    BadFilter{"endswith(name,'x')",
                              "1: expected one of the functions 'contains' and 'startswith'"},
                    BadFilter{"contains(name 'x')", "15: expected ','"},
                    BadFilter{"contains(name,'x'", "18: expected ')'"},
                    BadFilter{"contains(,'x')", "10: expected a field"},
                    BadFilter{"(name eq 'x')", "1: expected a field or a function"}));

TEST(Filter, RefusesAFieldThatIsNotKnown)
{
    const auto refusal = thrownBy<Refusal>([] { (void)Filter::parse("colour eq 'red'", FIELDS); });
    EXPECT_EQ(refusal.kind(), Refusal::Invalid);
    EXPECT_STREQ(refusal.what(), "filter: the field \"colour\" is not known; known are id, name");
}

} // namespace
} // namespace keepsafe_test
