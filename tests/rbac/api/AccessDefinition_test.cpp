#include <keepsafe/rbac/api/ManagedObjects.h>

#include <boost/lexical_cast.hpp>
#include <jansson.h>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "rbac/api/ManagedObjectApiTest.h"

namespace keepsafe_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char DEFINITION_TAG[] = "AccessDefinition::AccessDefinition";

TEST_F(ManagedObjectApiTest, AnAccessDefinitionNeedsNoLinksAndNoOperations)
{
    DefinitionText definition;
    definition.links = "";
    definition.operations = "[]";
    const AccessDefinition received = receive(definition);
    EXPECT_EQ(received.href, "");
    EXPECT_THAT(received.operations, IsEmpty());
}

TEST_F(ManagedObjectApiTest, OperationsThatAreNoArrayAreNone)
{
    DefinitionText definition;
    for (const char* operations : {"null", "{}", R"("|O|")"}) {
        definition.operations = operations;
        EXPECT_THAT(receive(definition).operations, IsEmpty()) << operations;
    }
}

TEST_F(ManagedObjectApiTest, LinksWithoutSelfOrAMissingIdIs7610)
{
    DefinitionText definition;
    definition.links = R"("links":{},)";
    EXPECT_EQ(statusOf(definition), 7610);
    definition = DefinitionText();
    definition.links = R"("links":{"self":{}},)";
    EXPECT_EQ(statusOf(definition), 7610);
    definition = DefinitionText();
    definition.id = "";
    EXPECT_EQ(statusOf(definition), 7610);
    EXPECT_EQ(log_.lines(16).size(), 3U);
    for (const LogLine& line : log_.lines(16)) {
        EXPECT_EQ(line.tag, DEFINITION_TAG);
        EXPECT_THAT(line.text, testing::MatchesRegex("Error parsing JSON response at position -?[0-9]+: .+"));
    }
}

TEST_F(ManagedObjectApiTest, AnotherTypeOfTheDefinitionItsRoleOrItsObjectIs9103)
{
    DefinitionText definition;
    definition.type = "a";
    EXPECT_EQ(statusOf(definition), 9103);
    definition = DefinitionText();
    definition.roleType = "b";
    EXPECT_EQ(statusOf(definition), 9103);
    definition = DefinitionText();
    definition.objectType = "c";
    EXPECT_EQ(statusOf(definition), 9103);
    EXPECT_THAT(log_.lines(16),
                ElementsAre(LogLine{16, DEFINITION_TAG, "Unexpected response type: a"},
                            LogLine{16, DEFINITION_TAG, "Invalid role relationship type: b"},
                            LogLine{16, DEFINITION_TAG, "Invalid object relationship type: c"}));
}

TEST_F(ManagedObjectApiTest, TheTypesInAnAccessDefinitionAreComparedExactly)
{
    const auto cut = [](const std::string& type) { return type.substr(0, type.size() - 1); };
    for (std::string DefinitionText::*type :
         {&DefinitionText::type, &DefinitionText::roleType, &DefinitionText::objectType}) {
        DefinitionText definition;
        EXPECT_EQ(statusOf(definition), 0);
        (definition.*type) = cut(definition.*type);
        EXPECT_EQ(statusOf(definition), 9103) << definition.*type;
        (definition.*type) = (DefinitionText().*type) + "s";
        EXPECT_EQ(statusOf(definition), 9103) << definition.*type;
    }
    DefinitionText definition;
    definition.operations = R"([{"id":"|A|","type":"accessControlOperatio"}])";
    EXPECT_EQ(statusOf(definition), 9103);
}

TEST_F(ManagedObjectApiTest, ChecksAnAccessDefinitionInThisOrder)
{
    DefinitionText definition{"", R"("id":"d1",)", "a", "b", "c", "d", R"([{"id":"O","type":"e"},{}])", "f",
                              "g"};
    EXPECT_EQ(statusOf(definition), 9103);
    definition.type = "accessDefinition";
    EXPECT_THROW(receive(definition), boost::bad_lexical_cast) << "the propagation";
    definition.propagation = "OBJECT";
    EXPECT_EQ(statusOf(definition), 9103);
    definition.roleType = "accessControlRole";
    EXPECT_THROW(receive(definition), boost::bad_lexical_cast) << "the role's id";
    definition.roleId = "17";
    EXPECT_EQ(statusOf(definition), 9103);
    definition.operations = R"([{"id":"O","type":"accessControlOperation"},{}])";
    EXPECT_THROW(receive(definition), boost::bad_lexical_cast) << "the operation's id";
    definition.operations = R"([{"id":"|O|","type":"accessControlOperation"},{}])";
    EXPECT_EQ(statusOf(definition), 7610);
    definition.operations = "[]";
    EXPECT_EQ(statusOf(definition), 9103);
    definition.objectType = "managedObject";
    EXPECT_THROW(receive(definition), boost::bad_lexical_cast) << "the object's id";
    EXPECT_THAT(log_.lines(16),
                ElementsAre(LogLine{16, DEFINITION_TAG, "Unexpected response type: a"},
                            LogLine{16, DEFINITION_TAG, "Invalid role relationship type: d"},
                            LogLine{16, DEFINITION_TAG, "Invalid operation 0 relationship type: e"},
                            LogLine{16, DEFINITION_TAG,
                                    "Error parsing operation relationship 1 at position 4: "
                                    "Object item not found: id"},
                            LogLine{16, DEFINITION_TAG, "Invalid object relationship type: g"}));
}

TEST_F(ManagedObjectApiTest, NamesTheOperationOfAnotherTypeOrForm)
{
    DefinitionText definition;
    definition.operations = R"([{"id":"|O|","type":"accessControlOperation"},{"id":"|O|","type":"role"}])";
    EXPECT_EQ(statusOf(definition), 9103);
    EXPECT_THAT(log_.lines(16),
                ElementsAre(LogLine{16, DEFINITION_TAG, "Invalid operation 1 relationship type: role"}));
    log_.clear();
    definition.operations = R"([{"id":"|O|"}])";
    EXPECT_EQ(statusOf(definition), 7610);
    EXPECT_THAT(log_.lines(16), ElementsAre(LogLine{16, DEFINITION_TAG,
                                                    "Error parsing operation relationship 0 at position 9: "
                                                    "Object item not found: type"}));
}

TEST_F(ManagedObjectApiTest, TextsThatCannotBeConvertedAreBadCasts)
{
    const auto expectBadCast = [this](const DefinitionText& definition) {
        EXPECT_THROW(receive(definition), boost::bad_lexical_cast);
    };
    DefinitionText definition;
    definition.propagation = "object";
    expectBadCast(definition);
    definition = DefinitionText();
    definition.roleId = "17a";
    expectBadCast(definition);
    definition.roleId = "2147483648";
    expectBadCast(definition);
    definition = DefinitionText();
    definition.objectId = "A";
    expectBadCast(definition);
    definition = DefinitionText();
    definition.operations = R"([{"id":"O","type":"accessControlOperation"}])";
    expectBadCast(definition);
    EXPECT_THAT(log_.lines(16), IsEmpty());
}

TEST_F(ManagedObjectApiTest, ARoleIdMayHaveASign)
{
    DefinitionText definition;
    definition.roleId = "-5";
    EXPECT_EQ(receive(definition).roleId, -5);
    definition.roleId = "+5";
    EXPECT_EQ(receive(definition).roleId, 5);
}

} // namespace
} // namespace keepsafe_test
