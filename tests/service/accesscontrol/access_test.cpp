#include "service/accesscontrol/AccessControlTest.h"

/// Objects, the access definitions on them, and what the library decides from what is published.

namespace keepsafe_test {
namespace {

class AccessRules : public AccessControlTest {};

INSTANTIATE_TEST_SUITE_P(Databases, AccessRules, allDatabases(), kindName);

TEST_P(AccessRules, OperationsAreListedByName)
{
    EXPECT_EQ(service_->operations(), (std::vector<ObjectNamespace>{AUDIT, RESTORE, VIEW}));
}

TEST_P(AccessRules, AGrantOnAnObjectReachesTheObjectAlone)
{
    addObjects("|A| |A|B|");
    grant("|A|", VIEW, Propagation::OBJECT);
    EXPECT_TRUE(isAllowed("|A|", VIEW));
    EXPECT_FALSE(isAllowed("|A|B|", VIEW));
    EXPECT_FALSE(isAllowed("|A|", RESTORE));
    EXPECT_FALSE(isAllowed("|A|", VIEW, ROLE + 1));
}

TEST_P(AccessRules, AGrantOnChildrenReachesWhatLiesBelow)
{
    addObjects("|A| |A|B|");
    grant("|A|", AUDIT, Propagation::CHILDREN);
    EXPECT_FALSE(isAllowed("|A|", AUDIT));
    EXPECT_TRUE(isAllowed("|A|B|", AUDIT));
    EXPECT_TRUE(isAllowed("|A|not known|at all|", AUDIT));
}

TEST_P(AccessRules, AGrantOnBothReachesBoth)
{
    addObjects("|A|");
    grant("|A|", RESTORE, Propagation::OBJECT_AND_CHILDREN);
    EXPECT_TRUE(isAllowed("|A|", RESTORE));
    EXPECT_TRUE(isAllowed("|A|B|", RESTORE));
}

TEST_P(AccessRules, AnObjectThatDoesNotInheritIsDecidedAlone)
{
    addObjects("|A| |A|B|");
    grant("|A|", VIEW, Propagation::CHILDREN);
    service_->setInherit(ns("|A|B|"), false);
    EXPECT_FALSE(service_->object(ns("|A|B|")).inherit);
    EXPECT_FALSE(isAllowed("|A|B|", VIEW));

    restart();
    EXPECT_FALSE(isAllowed("|A|B|", VIEW));
    service_->setInherit(ns("|A|B|"), true);
    EXPECT_TRUE(isAllowed("|A|B|", VIEW));
}

TEST_P(AccessRules, AnAddedDefinitionComesBackWithItsIdAndIsListedById)
{
    addObjects("|A|");
    const auto first =
        service_->addAccessDefinition(ns("|A|"), {ROLE, Propagation::CHILDREN, {VIEW, RESTORE, VIEW}});
    const auto second = service_->addAccessDefinition(ns("|A|"), {0, Propagation::OBJECT, {AUDIT}});

    EXPECT_EQ(first.id, "1");
    EXPECT_EQ(first.object, ns("|A|"));
    EXPECT_EQ(first.grant.roleId, ROLE);
    EXPECT_EQ(first.grant.propagation, Propagation(Propagation::CHILDREN));
    EXPECT_EQ(first.grant.operations, (std::vector<ObjectNamespace>{VIEW, RESTORE})) << "each once";
    EXPECT_EQ(second.id, "2");
    restart();
    EXPECT_EQ(definitionsOf("|A|"),
              (Texts{"7 CHILDREN |OPERATIONS|VIEW| |OPERATIONS|RESTORE|", "0 OBJECT |OPERATIONS|AUDIT|"}));
}

TEST_P(AccessRules, ADeletedDefinitionGrantsNoMoreAndItsIdStaysUsed)
{
    addObjects("|A|");
    grant("|A|", VIEW);
    grant("|A|", RESTORE);
    service_->deleteAccessDefinition(ns("|A|"), "2");
    EXPECT_FALSE(isAllowed("|A|", RESTORE));
    EXPECT_TRUE(isAllowed("|A|", VIEW));

    restart();
    EXPECT_EQ(definitionsOf("|A|"), (Texts{"7 OBJECT |OPERATIONS|VIEW|"}));
    EXPECT_EQ(service_->addAccessDefinition(ns("|A|"), {ROLE, Propagation::OBJECT, {AUDIT}}).id, "3");
}

TEST_P(AccessRules, TwoDefinitionsOfOneGrantOutlastEachOther)
{
    addObjects("|A|");
    grant("|A|", VIEW);
    grant("|A|", VIEW);
    service_->deleteAccessDefinition(ns("|A|"), "1");
    EXPECT_TRUE(isAllowed("|A|", VIEW));
    service_->deleteAccessDefinition(ns("|A|"), "2");
    EXPECT_FALSE(isAllowed("|A|", VIEW));
}

TEST_P(AccessRules, ADefinitionIsFoundByItsExactIdOnItsOwnObjectAlone)
{
    addObjects("|A| |B|");
    grant("|A|", VIEW);
    for (const std::string id : {"1", "01", "+1", " 1", "1 ", "", "x", "99999999999999999999"}) {
        const std::string object = id == "1" ? "|B|" : "|A|";
        EXPECT_EQ(refusal([&] { service_->deleteAccessDefinition(ns(object), id); }).kind, Refusal::Unknown)
            << id;
    }
    EXPECT_EQ(refusal([&] { service_->deleteAccessDefinition(ns("|B|"), "1"); }).message,
              "object |B| has no access definition \"1\"");
    EXPECT_EQ(definitionsOf("|A|").size(), 1U);
}

TEST_P(AccessRules, WhatAGrantNamesAndIsNotThereMakesItInvalid)
{
    addObjects("|A|");
    const ObjectNamespace fly("OPERATIONS", "FLY");
    const auto refused = refusal([&] {
        service_->addAccessDefinition(ns("|A|"), {99, Propagation::OBJECT, {VIEW, fly}});
    });
    EXPECT_EQ(refused.kind, Refusal::Invalid);
    EXPECT_EQ(refused.details, (Texts{"there is no role 99", "there is no operation |OPERATIONS|FLY|"}));
    EXPECT_EQ(refusal([&] {
                  service_->addAccessDefinition(ns("|A|"), {ROLE, Propagation::OBJECT, {}});
              }).message,
              "no operation is granted");
    EXPECT_EQ(definitionsOf("|A|"), Texts{});
    EXPECT_FALSE(isAllowed("|A|", VIEW));
    EXPECT_EQ(service_->addAccessDefinition(ns("|A|"), {ROLE, Propagation::OBJECT, {VIEW}}).id, "1");
}

TEST_P(AccessRules, AnUnknownObjectIsUnknownWhateverIsAskedOfIt)
{
    const ObjectNamespace none = ns("|none|");
    const auto refused = refusal([&] { (void)service_->object(none); });
    EXPECT_EQ(refused.kind, Refusal::Unknown);
    EXPECT_EQ(refused.message, "there is no object |none|");
    EXPECT_EQ(refusal([&] { service_->setInherit(none, false); }).kind, Refusal::Unknown);
    EXPECT_EQ(refusal([&] { (void)service_->accessDefinitions(none); }).kind, Refusal::Unknown);
    EXPECT_EQ(refusal([&] { service_->deleteAccessDefinition(none, "1"); }).kind, Refusal::Unknown);
    EXPECT_EQ(refusal([&] {
                  service_->addAccessDefinition(none, {99, Propagation::OBJECT, {}});
              }).kind,
              Refusal::Unknown);
}

TEST_P(AccessRules, NamesOfAnyBytesAndOf4096BytesAreKept)
{
    const ObjectNamespace odd("it's", "ä|b%", std::string("\0\xFF\n", 3), "");
    const ObjectNamespace longest("A", std::string(4096 - 4, 'x'));
    ASSERT_EQ(longest.str().size(), 4096U);
    addObjects(odd.str() + " " + longest.str());
    grant(odd.str(), VIEW);
    grant(longest.str(), VIEW);
    restart();
    EXPECT_EQ(service_->object(odd).ns, odd);
    EXPECT_TRUE(isAllowed(odd.str(), VIEW));
    EXPECT_TRUE(isAllowed(longest.str(), VIEW));
}

TEST_P(AccessRules, ManyOperationsFitOneDefinition)
{
    service_.reset();
    keepsafe_service::Store store(database_);
    const auto kept = store.load();
    auto content = kept;
    std::vector<ObjectNamespace> operations;
    for (std::int32_t i = 0; i < 2500; ++i) {
        operations.emplace_back("OPERATIONS", "OP-" + std::to_string(i));
        content.operations.emplace(operations.back(), 2147483647 - i);
    }
    store.replace(kept, content, keepsafe_service::localAuthor());
    restart();
    addObjects("|A|");
    service_->addAccessDefinition(ns("|A|"), {ROLE, Propagation::OBJECT, operations});
    restart();
    EXPECT_EQ(service_->accessDefinitions(ns("|A|")).front().grant.operations, operations);
    operations.push_back(VIEW);
    EXPECT_EQ(refusal([&] {
                  service_->addAccessDefinition(ns("|A|"), {ROLE, Propagation::OBJECT, operations});
              }).message,
              "2501 operations are granted at once, and at most 2500 can be");
}

TEST_P(AccessRules, ARestartAnswersAndPublishesTheSame)
{
    addObjects("|A| |A|B| |C|");
    grant("|A|", VIEW, Propagation::CHILDREN);
    grant("|C|", AUDIT);
    setState("|C|", PENDING);
    service_->setInherit(ns("|A|B|"), false);
    service_->createRole("auditor", "reads");
    const auto objects = namespaces("|A| |A|B| |C|");
    const Texts before = everything(objects);

    restart();

    EXPECT_EQ(everything(objects), before);
    EXPECT_TRUE(isAllowed("|A|X|", VIEW));
    EXPECT_FALSE(isAllowed("|A|B|", VIEW));
    EXPECT_FALSE(isAllowed("|C|", AUDIT));
}

} // namespace
} // namespace keepsafe_test
