#include "policy/policy_reader.h"

#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "errors/InputError.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::Policy;
using keepsafe_sandbox::readPolicy;
using keepsafe_sandbox::readPolicyFile;
using keepsafe_service::InputError;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::SizeIs;

const ObjectNamespace EVERYTHING;

/// A document of the four parts, each as JSON.
std::string document(const std::string& operations, const std::string& roles, const std::string& objects,
                     const std::string& definitions)
{
    return R"({"operations": )" + operations + R"(, "roles": )" + roles + R"(, "objects": )" + objects +
           R"(, "accessDefinitions": )" + definitions + "}";
}

std::string withOperations(const std::string& operations) { return document(operations, "[]", "[]", "[]"); }
std::string withRoles(const std::string& roles) { return document("{}", roles, "[]", "[]"); }
std::string withObjects(const std::string& objects) { return document("{}", "[]", objects, "[]"); }
/// One access definition in a policy that has one operation, one role and one object.
std::string withDefinition(const std::string& definition)
{
    return document(R"({"|OPERATIONS|VIEW|": 0})", R"([{"id": 17, "name": "Restore operator"}])",
                    R"([{"namespace": "|KEEPSAFE|"}])", "[" + definition + "]");
}

std::string errorOf(const std::string& text, const ObjectNamespace& covers = EVERYTHING)
{
    return thrownBy<InputError>([&] { readPolicy(text, covers); }).what();
}

struct BadDocument {
    const char* name;
    std::string text;
    std::string message;

    friend std::ostream& operator<<(std::ostream& stream, const BadDocument& value)
    {
        return stream << value.name;
    }
};

class BadPolicy : public testing::TestWithParam<BadDocument> {};

TEST_P(BadPolicy, IsRefusedWithThePlaceOfTheFault)
{
    EXPECT_EQ(errorOf(GetParam().text), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Syntax, BadPolicy,
    testing::Values(
        BadDocument{"Empty", "", "line 1, column 0: '[' or '{' expected near end of file"},
        BadDocument{"Unclosed", "{\n  \"roles\": [1,", "line 2, column 14: ']' expected near end of file"},
        BadDocument{"TrailingText", withRoles("[]") + " x",
                    "line 1, column 73: end of file expected near 'x'"},
        BadDocument{"DuplicateMember", "{\"roles\": [],\n \"roles\": []}",
                    "line 2, column 8: duplicate object key near '\"roles\"'"},
        BadDocument{"DuplicateOperation", withOperations(R"({"|A|": 1, "|A|": 2})"),
                    "line 1, column 31: duplicate object key near '\"|A|\"'"},
        BadDocument{"NumberBeyond64Bits", withRoles(R"([{"id": 99999999999999999999, "name": ""}])"),
                    "line 1, column 56: too big integer near '99999999999999999999'"},
        BadDocument{"InvalidUtf8", "{\"\xFF\": 1}", "line 1, column 2: unable to decode byte 0xff near '\"'"},
        BadDocument{"ZeroCharacter", "{\"roles\": \"a\\u0000b\"}",
                    "line 1, column 20: \\u0000 is not allowed without JSON_ALLOW_NUL near "
                    "'\"a\\u0000b\"'"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Members, BadPolicy,
    testing::Values(
        BadDocument{"RootIsArray", "[]", "document: expected an object, found an array"},
        BadDocument{"PartMissing", R"({"operations": {}, "roles": [], "objects": []})",
                    "document: member \"accessDefinitions\" is missing"},
        BadDocument{"PartUnknown",
                    R"({"operations": {}, "roles": [], "objects": [], "accessDefinitions": [], "x": 1})",
                    "document: unknown member \"x\""},
        BadDocument{"OperationsIsArray", withOperations("[]"),
                    "operations: expected an object, found an array"},
        BadDocument{"RolesIsObject", withRoles("{}"), "roles: expected an array, found an object"},
        BadDocument{"ObjectsIsNull", withObjects("null"), "objects: expected an array, found null"},
        BadDocument{"RoleIsNumber", withRoles("[17]"), "roles[0]: expected an object, found an integer"},
        BadDocument{"RoleWithoutId", withRoles(R"([{"name": "x"}])"), "roles[0]: member \"id\" is missing"},
        BadDocument{"RoleWithoutName", withRoles(R"([{"id": 1}])"), "roles[0]: member \"name\" is missing"},
        BadDocument{"RoleWithMore", withRoles(R"([{"id": 1, "name": "x", "nmae": 1}])"),
                    "roles[0]: unknown member \"nmae\""},
        BadDocument{"ObjectWithMore", withObjects(R"([{"namespace": "|A|", "inherits": true}])"),
                    "objects[0]: unknown member \"inherits\""},
        BadDocument{"DefinitionWithoutOperations",
                    withDefinition(R"({"object": "|KEEPSAFE|", "role": 17, "propagation": "OBJECT"})"),
                    "accessDefinitions[0]: member \"operations\" is missing"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Operations, BadPolicy,
    testing::Values(BadDocument{"NoNamespace", withOperations(R"({"|OPERATIONS|VIEW|": 0, "VIEW": 1})"),
                                "operations[\"VIEW\"]: the operation is not a namespace"},
                    BadDocument{"BitIsText", withOperations(R"({"|VIEW|": "0"})"),
                                "operations[\"|VIEW|\"]: expected an integer, found a string"},
                    BadDocument{"BitIsReal", withOperations(R"({"|VIEW|": 1.0})"),
                                "operations[\"|VIEW|\"]: expected an integer, found a real number"},
                    BadDocument{"BitBelowZero", withOperations(R"({"|VIEW|": -1})"),
                                "operations[\"|VIEW|\"]: -1 is out of range (0 to 2147483647)"},
                    BadDocument{"BitBeyond31Bits", withOperations(R"({"|VIEW|": 2147483648})"),
                                "operations[\"|VIEW|\"]: 2147483648 is out of range (0 to 2147483647)"},
                    BadDocument{"BitTwice", withOperations(R"({"|VIEW|": 3, "|ADD|": 3})"),
                                "operations[\"|ADD|\"]: bit 3 is that of |VIEW| already"},
                    BadDocument{"TwoSpellings", withOperations(R"({"|a+b|": 3, "|a%20b|": 4})"),
                                "operations[\"|a%20b|\"]: operation |a+b| is given twice"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Roles, BadPolicy,
    testing::Values(BadDocument{"IdIsText", withRoles(R"([{"id": "17", "name": "x"}])"),
                                "roles[0].id: expected an integer, found a string"},
                    BadDocument{"IdBeyond32Bits", withRoles(R"([{"id": -2147483649, "name": "x"}])"),
                                "roles[0].id: -2147483649 is out of range (-2147483648 to 2147483647)"},
                    BadDocument{"NameIsNull", withRoles(R"([{"id": 1, "name": null}])"),
                                "roles[0].name: expected a string, found null"},
                    BadDocument{"Twice", withRoles(R"([{"id": 1, "name": "x"}, {"id": 2, "name": "y"},
                                           {"id": 1, "name": "z"}])"),
                                "roles[2].id: role 1 is given twice, first in roles[0]"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Objects, BadPolicy,
    testing::Values(BadDocument{"NoLeadingBar", withObjects(R"([{"namespace": "KEEPSAFE|"}])"),
                                "objects[0].namespace: \"KEEPSAFE|\" is not a namespace"},
                    BadDocument{"NoClosingBar",
                                withObjects(R"([{"namespace": "|A|"}, {"namespace": "|KEEPSAFE"}])"),
                                "objects[1].namespace: \"|KEEPSAFE\" is not a namespace"},
                    BadDocument{"BadEscape", withObjects(R"([{"namespace": "|%zz|"}])"),
                                "objects[0].namespace: \"|%zz|\" is not a namespace"},
                    BadDocument{"NamespaceIsNumber", withObjects(R"([{"namespace": 1}])"),
                                "objects[0].namespace: expected a string, found an integer"},
                    BadDocument{"InheritIsNumber", withObjects(R"([{"namespace": "|A|", "inherit": 1}])"),
                                "objects[0].inherit: expected a boolean, found an integer"},
                    BadDocument{"Twice", withObjects(R"([{"namespace": "|A|"}, {"namespace": "|B|"},
                                             {"namespace": "|A|", "inherit": false}])"),
                                "objects[2].namespace: object |A| is given twice, first in objects[0]"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Definitions, BadPolicy,
    testing::Values(
        BadDocument{"UnknownObject",
                    withDefinition(R"({"object": "|OTHER|", "role": 17, "propagation": "OBJECT",
                                       "operations": []})"),
                    "accessDefinitions[0].object: object |OTHER| is not among the objects"},
        BadDocument{"UnknownRole",
                    withDefinition(R"({"object": "|KEEPSAFE|", "role": 18, "propagation": "OBJECT",
                                       "operations": []})"),
                    "accessDefinitions[0].role: role 18 is not among the roles"},
        BadDocument{"UnknownPropagation",
                    withDefinition(R"({"object": "|KEEPSAFE|", "role": 17, "propagation": "object",
                                       "operations": []})"),
                    "accessDefinitions[0].propagation: \"object\" is none of OBJECT, CHILDREN, "
                    "OBJECT_AND_CHILDREN"},
        BadDocument{"UnknownOperation",
                    withDefinition(R"({"object": "|KEEPSAFE|", "role": 17, "propagation": "OBJECT",
                                       "operations": ["|OPERATIONS|VIEW|", "|OPERATIONS|FLY|"]})"),
                    "accessDefinitions[0].operations[1]: operation |OPERATIONS|FLY| is not among the "
                    "operations"},
        BadDocument{"OperationIsNumber",
                    withDefinition(R"({"object": "|KEEPSAFE|", "role": 17, "propagation": "OBJECT",
                                       "operations": [0]})"),
                    "accessDefinitions[0].operations[0]: expected a string, found an integer"},
        BadDocument{"OperationsIsText",
                    withDefinition(R"({"object": "|KEEPSAFE|", "role": 17, "propagation": "OBJECT",
                                       "operations": "|OPERATIONS|VIEW|"})"),
                    "accessDefinitions[0].operations: expected an array, found a string"},
        BadDocument{"ObjectIsNoNamespace",
                    withDefinition(R"({"object": "KEEPSAFE", "role": 17, "propagation": "OBJECT",
                                       "operations": []})"),
                    "accessDefinitions[0].object: \"KEEPSAFE\" is not a namespace"}),
    [](const auto& test) { return test.param.name; });

TEST(PolicyReader, RefusesAnObjectOutsideOfWhatTheCacheCovers)
{
    const std::string text = withObjects(R"([{"namespace": "|A|"}, {"namespace": "|AB|"}])");

    EXPECT_EQ(errorOf(text, ObjectNamespace("A")),
              "objects[1].namespace: object |AB| does not lie under |A|, which the cache covers");
}

TEST(PolicyReader, ShowsNoMoreOfALongTextThanALineCanBear)
{
    const std::string message =
        errorOf(withObjects(R"([{"namespace": ")" + std::string(100000, 'x') + "\"}]"));

    EXPECT_EQ(message, "objects[0].namespace: \"" + std::string(199, 'x') + "... is not a namespace");
}

TEST(PolicyReader, ReadsWhatTheDocumentSays)
{
    const Policy policy =
        readPolicy(document(R"({"|OPERATIONS|VIEW|": 0, "|OPERATIONS|ADD|": 2147483647})",
                            R"([{"id": -2147483648, "name": "least"}, {"id": 2147483647, "name": "most"}])",
                            R"([{"namespace": "|"}, {"namespace": "|a+b||", "inherit": false}])",
                            R"([{"object": "|a%20b||", "role": -2147483648, "propagation": "CHILDREN",
                      "operations": ["|OPERATIONS|ADD|", "|OPERATIONS|VIEW|"]}])"),
                   EVERYTHING);

    ASSERT_THAT(policy.objects, SizeIs(2));
    EXPECT_TRUE(policy.objects[0].ns.is_root());
    EXPECT_TRUE(policy.objects[0].inherit) << "inherit is true when absent";
    EXPECT_EQ(policy.objects[1].ns, ObjectNamespace("a b", ""));
    EXPECT_FALSE(policy.objects[1].inherit);
    EXPECT_THAT(policy.roles, SizeIs(2));
    EXPECT_EQ(policy.operations.at(ObjectNamespace("OPERATIONS", "ADD")), 2147483647);
    ASSERT_THAT(policy.accessDefinitions, SizeIs(1));
    EXPECT_EQ(policy.accessDefinitions[0].object, 1U);
    EXPECT_EQ(policy.accessDefinitions[0].roleId, -2147483647 - 1);
    EXPECT_EQ(policy.accessDefinitions[0].propagation, Tessara::Keepsafe::Rbac::Propagation::CHILDREN);
    ASSERT_THAT(policy.accessDefinitions[0].operations, SizeIs(2));
    EXPECT_EQ(policy.accessDefinitions[0].operations[0].offset, 2147483647);
}

std::string fileErrorOf(const std::string& path)
{
    return thrownBy<InputError>([&] { readPolicyFile(path, EVERYTHING); }).what();
}

TEST(PolicyFile, IsNamedInEveryMessage)
{
    const TempDir dir;
    const std::string path = dir.path("policy.json");
    writeFile(path, "[]");

    EXPECT_EQ(fileErrorOf(path), path + ": document: expected an object, found an array");
    EXPECT_EQ(fileErrorOf(dir.path("none")),
              "cannot read " + dir.path("none") + ": No such file or directory");
    EXPECT_EQ(fileErrorOf(dir.path()), "cannot read " + dir.path() + ": Is a directory");
}

} // namespace
} // namespace keepsafe_test
