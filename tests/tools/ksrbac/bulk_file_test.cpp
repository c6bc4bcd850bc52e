#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "exit_status.h"
#include "registration/ObjectRequest.h"
#include "registration/bulk_file.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using ksrbac::InputError;
using ksrbac::ObjectRequest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Propagation;

ksrbac::GrantRequest parseGrant(const std::string& text)
{
    ksrbac::RoleNames names("object register"); // nobody is asked for ids
    return ksrbac::parseGrant("--grant", text, names);
}

std::string attributesOf(const ObjectRequest& request)
{
    return Tessara::Keepsafe::Rbac::json_dumps_shared(
               ksrbac::registrationData(request)->accessControlAttributes)
        .get();
}

TEST(GrantArgument, IsARoleOperationsAndHowFarTheyReach)
{
    const auto grant = parseGrant("17:|O|V|,|O|W|:CHILDREN");
    EXPECT_EQ(grant.roleId, 17);
    EXPECT_EQ(grant.operations, (std::list<ObjectNamespace>{{"O", "V"}, {"O", "W"}}));
    EXPECT_EQ(grant.propagation, Propagation(Propagation::CHILDREN));
}

TEST(GrantArgument, HoldsOnTheObjectAloneUnlessItSaysOtherwise)
{
    EXPECT_EQ(parseGrant("0:|O|V|").propagation, Propagation(Propagation::OBJECT));
}

TEST(GrantArgument, ColonsAndCommasOfANameAreWrittenEscaped)
{
    EXPECT_EQ(parseGrant("17:|O|a%3Ab%2Cc|").operations, (std::list<ObjectNamespace>{{"O", "a:b,c"}}));
}

TEST(GrantArgument, WhatIsWrongIsNamed)
{
    const auto message = [](const char* text) -> std::string {
        return thrownBy<InputError>([text] { (void)parseGrant(text); }).what();
    };
    const std::string form = "--grant: not ROLE:OPERATION,...[:PROPAGATION]: ";
    EXPECT_EQ(message("17"), form + "\"17\"");
    EXPECT_EQ(message("17:|O|:OBJECT:x"), form + "\"17:|O|:OBJECT:x\"");
    EXPECT_EQ(message("-1:|O|"), "--grant: not a role id, which is a number from 0 to 2147483647: \"-1\"");
    EXPECT_EQ(message("17:"), "--grant: not a namespace: \"\": it does not start with '|'");
    EXPECT_EQ(message("17:|O|,"), "--grant: not a namespace: \"\": it does not start with '|'");
    EXPECT_EQ(message("17:|O|:"), "--grant: none of OBJECT, CHILDREN and OBJECT_AND_CHILDREN: \"\"");
    EXPECT_EQ(message("17:|O|:all"), "--grant: none of OBJECT, CHILDREN and OBJECT_AND_CHILDREN: \"all\"");
}

TEST(ObjectRequests, CarryTheirGrantsInTheFormOfTheService)
{
    ObjectRequest request;
    request.grants = {parseGrant("17:|O|V|,|O|W|"), parseGrant("3:|O|V|:OBJECT_AND_CHILDREN")};
    request.inherit = false;
    EXPECT_EQ(attributesOf(request),
              R"({"inherit":false,"accessDefinitions":[{"roleId":17,"operations":["|O|V|","|O|W|"],)"
              R"("propagation":"OBJECT"},{"roleId":3,"operations":["|O|V|"],)"
              R"("propagation":"OBJECT_AND_CHILDREN"}]})");
}

TEST(ObjectRequests, LeaveTheInheritanceToTheServiceWhenNothingIsSaid)
{
    EXPECT_EQ(attributesOf(ObjectRequest()), R"({"accessDefinitions":[]})");
}

class BulkFile : public testing::Test {
protected:
    std::vector<ObjectRequest> read(const std::string& content)
    {
        writeFile(file_, content);
        ksrbac::RoleNames names("object register"); // nobody is asked for ids
        return ksrbac::readBulkFile(file_, names);
    }
    /// The message without the file's name.
    std::string message(const std::string& content)
    {
        const std::string text = thrownBy<InputError>([&] { (void)read(content); }).what();
        return text.rfind(file_ + ": ", 0) == 0 ? text.substr(file_.size() + 2) : text;
    }

    const TempDir dir_;
    const std::string file_ = dir_.path("objects.json");
};

TEST_F(BulkFile, SaysEverythingThatCanBeSaidOfAnObject)
{
    const auto requests = read(R"([{"namespace": "|A|b|", "type": "VM", "children": ["|x|", "|y|z|"],
        "inherit": true, "grants": [{"role": 17, "operations": ["|O|V|"], "propagation": "CHILDREN"}],
        "ignoreRegistered": true}])");
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].object, ObjectNamespace("A", "b"));
    EXPECT_EQ(requests[0].type, "VM");
    EXPECT_EQ(requests[0].children, (std::list<ObjectNamespace>{ObjectNamespace("x"), {"y", "z"}}));
    EXPECT_EQ(requests[0].inherit, true);
    EXPECT_TRUE(requests[0].ignoreRegistered);
    ASSERT_EQ(requests[0].grants.size(), 1U);
    EXPECT_EQ(requests[0].grants[0].roleId, 17);
    EXPECT_EQ(requests[0].grants[0].operations, (std::list<ObjectNamespace>{{"O", "V"}}));
    EXPECT_EQ(requests[0].grants[0].propagation, Propagation(Propagation::CHILDREN));
}

TEST_F(BulkFile, NeedsOnlyNamespaceAndType)
{
    const auto requests = read(R"([{"namespace": "|B|", "type": ""}, {"namespace": "|A|", "type": "x",
        "grants": [{"role": 0, "operations": ["|O|"]}]}])");
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].object, ObjectNamespace("B"));
    EXPECT_TRUE(requests[0].children.empty() && requests[0].grants.empty());
    EXPECT_FALSE(requests[0].inherit.has_value() || requests[0].ignoreRegistered);
    EXPECT_EQ(requests[1].grants[0].propagation, Propagation(Propagation::OBJECT));
}

TEST_F(BulkFile, TextThatIsNoJsonIsNamedByLineAndColumn)
{
    EXPECT_EQ(message("[\n  {\n]").substr(0, 16), "line 3, column 1");
    EXPECT_EQ(message("").substr(0, 15), "line 1, column ");
    EXPECT_EQ(message("[] x").substr(0, 16), "line 1, column 4");
    EXPECT_EQ(message("[{\"type\": \"\xFF\"}]").substr(0, 15), "line 1, column ");
    EXPECT_EQ(message(R"([{"type": "a", "type": "b"}])").substr(0, 15), "line 1, column ");
}

TEST_F(BulkFile, EveryOtherFaultIsNamedByItsPlace)
{
    EXPECT_EQ(message("{}"), "not an array");
    EXPECT_EQ(message("[]"), "no object");
    EXPECT_EQ(message("[1]"), "[0]: not an object");
    EXPECT_EQ(message(R"([{"namespace": "|A|", "type": "x"}, {"type": "x"}])"),
              R"([1]: no member "namespace")");
    EXPECT_EQ(message(R"([{"namespace": "|A|"}])"), R"([0]: no member "type")");
    EXPECT_EQ(message(R"([{"namespace": "A", "type": "x"}])"),
              R"([0].namespace: not a namespace: "A": it does not start with '|')");

    const auto record = [this](const std::string& more) {
        return message(R"([{"namespace": "|A|", "type": "x", )" + more + "}]");
    };
    EXPECT_EQ(record(R"("chidren": [])"), R"([0]: unknown member "chidren")");
    EXPECT_EQ(record(R"("children": {})"), "[0].children: not an array");
    EXPECT_EQ(record(R"("children": ["|x|", 1])"), "[0].children[1]: not a string");
    EXPECT_EQ(record(R"("inherit": "on")"), "[0].inherit: neither true nor false");
    EXPECT_EQ(record(R"("ignoreRegistered": null)"), "[0].ignoreRegistered: neither true nor false");

    const auto grant = [&record](const std::string& members) {
        return record(R"("grants": [{)" + members + "}]");
    };
    const std::string noRole = "[0].grants[0].role: neither a role id, which is a number from 0 to "
                               "2147483647, nor the name of a role";
    EXPECT_EQ(grant(R"("role": "17", "operations": ["|O|"])"), noRole);
    EXPECT_EQ(grant(R"("role": -1, "operations": ["|O|"])"), noRole);
    EXPECT_EQ(grant(R"("role": 2147483648, "operations": ["|O|"])"), noRole);
    EXPECT_EQ(grant(R"("role": 1.0, "operations": ["|O|"])"), noRole);
    EXPECT_EQ(grant(R"("role": true, "operations": ["|O|"])"), noRole);
    EXPECT_EQ(grant(R"("role": "", "operations": ["|O|"])"), noRole);
    EXPECT_EQ(grant(R"("operations": ["|O|"])"), R"([0].grants[0]: no member "role")");
    EXPECT_EQ(grant(R"("role": 1, "operations": [])"), "[0].grants[0].operations: no operation");
    EXPECT_EQ(grant(R"("role": 1, "operations": ["O"])"),
              R"([0].grants[0].operations[0]: not a namespace: "O": it does not start with '|')");
    EXPECT_EQ(grant(R"("role": 1, "operations": ["|O|"], "propagation": "all")"),
              R"([0].grants[0].propagation: none of OBJECT, CHILDREN and OBJECT_AND_CHILDREN: "all")");
}

TEST_F(BulkFile, AnObjectMayNotBeThereTwice)
{
    EXPECT_EQ(message(R"([{"namespace": "|a+b|", "type": "x"}, {"namespace": "|B|", "type": "x"},
                          {"namespace": "|a%20b|", "type": "x"}])"),
              "[2].namespace: |a+b| is given twice, first in [0]");
}

TEST_F(BulkFile, OneThatCannotBeReadIsNamed)
{
    EXPECT_STREQ(thrownBy<InputError>([] {
                     ksrbac::RoleNames names("object register");
                     (void)ksrbac::readBulkFile("/none/objects.json", names);
                 }).what(),
                 "cannot read /none/objects.json: No such file or directory");
}

} // namespace
} // namespace keepsafe_test
