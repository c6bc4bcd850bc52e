#include "service/accesscontrol/AccessControlTest.h"

/// Registration of objects and the changes of their states.

namespace keepsafe_test {
namespace {

class RegistrationRules : public AccessControlTest {
protected:
    /// Registers and returns what was made pending, object by object.
    Texts registerAll(const std::vector<Registration>& registrations)
    {
        Texts texts;
        for (const auto& result : service_->registerObjects(registrations)) {
            std::string text = result.ns.str() + ":";
            for (const ObjectNamespace& name : result.registered) {
                text += " " + name.str();
            }
            texts.push_back(text);
        }
        return texts;
    }

    static Registration withGrant(Registration registration, Grant grant)
    {
        registration.grants.push_back(std::move(grant));
        return registration;
    }
};

INSTANTIATE_TEST_SUITE_P(Databases, RegistrationRules, allDatabases(), kindName);

TEST_P(RegistrationRules, APendingObjectIsKnownAndGrantsNothing)
{
    Registration wanted = withGrant(registration("|A|"), {ROLE, Propagation::OBJECT_AND_CHILDREN, {VIEW}});
    wanted.type = "vm";
    wanted.inherit = false;
    EXPECT_EQ(registerAll({wanted}), (Texts{"|A|: |A|"}));

    EXPECT_EQ(stateOf("|A|"), "PENDING");
    EXPECT_EQ(service_->object(ns("|A|")).type, "vm");
    EXPECT_FALSE(service_->object(ns("|A|")).inherit);
    EXPECT_EQ(definitionsOf("|A|"), (Texts{"7 OBJECT_AND_CHILDREN |OPERATIONS|VIEW|"}));
    EXPECT_FALSE(isAllowed("|A|", VIEW));
    EXPECT_FALSE(isAllowed("|A|B|", VIEW));
    restart();
    EXPECT_EQ(stateOf("|A|"), "PENDING");
    EXPECT_FALSE(isAllowed("|A|", VIEW));
}

TEST_P(RegistrationRules, AReadyObjectGrantsWhatItsRegistrationAndLaterDefinitionsSay)
{
    registerAll({withGrant(registration("|A|"), {ROLE, Propagation::OBJECT, {VIEW}})});
    grant("|A|", RESTORE);
    EXPECT_FALSE(isAllowed("|A|", RESTORE));
    setState("|A|", READY);
    EXPECT_TRUE(isAllowed("|A|", VIEW));
    EXPECT_TRUE(isAllowed("|A|", RESTORE));
}

TEST_P(RegistrationRules, AReadyObjectThatBecomesPendingGrantsNothingUntilItIsReadyAgain)
{
    addObjects("|A|");
    grant("|A|", VIEW);
    setState("|A|", PENDING);
    EXPECT_FALSE(isAllowed("|A|", VIEW));
    EXPECT_EQ(definitionsOf("|A|").size(), 1U);
    setState("|A|", READY);
    EXPECT_TRUE(isAllowed("|A|", VIEW));
}

TEST_P(RegistrationRules, ADeletedObjectIsGoneWithItsDefinitions)
{
    addObjects("|A|");
    grant("|A|", VIEW);
    setState("|A|", DELETED);
    EXPECT_EQ(stateOf("|A|"), "none");
    EXPECT_FALSE(isAllowed("|A|", VIEW));

    addObjects("|A|");
    EXPECT_EQ(definitionsOf("|A|"), Texts{});
    EXPECT_FALSE(isAllowed("|A|", VIEW));
    EXPECT_EQ(service_->addAccessDefinition(ns("|A|"), {ROLE, Propagation::OBJECT, {VIEW}}).id, "2");
}

TEST_P(RegistrationRules, ChildrenComeWithTheirObjectAndFollowItsStates)
{
    EXPECT_EQ(registerAll({registration("|A|", "|A|B| |A|C|D|")}), (Texts{"|A|: |A| |A|B| |A|C|D|"}));
    EXPECT_EQ(stateOf("|A|C|D|"), "PENDING");
    EXPECT_EQ(stateOf("|A|C|"), "none");
    restart();
    setState("|A|", READY);
    EXPECT_EQ(stateOf("|A|B|"), "READY");
    setState("|A|", PENDING);
    EXPECT_EQ(stateOf("|A|B|"), "PENDING");
    setState("|A|", DELETED);
    EXPECT_EQ(stateOf("|A|B|") + stateOf("|A|C|D|"), "nonenone");
}

TEST_P(RegistrationRules, WhatACallSaysOfAChildGoesBeforeWhatItSaysOfTheObject)
{
    registerAll({registration("|A|", "|A|B| |A|C|")});
    service_->updateStates({{ns("|A|"), DELETED}, {ns("|A|B|"), READY}});
    EXPECT_EQ(stateOf("|A|"), "none");
    EXPECT_EQ(stateOf("|A|B|"), "READY");
    EXPECT_EQ(stateOf("|A|C|"), "none");

    restart();
    EXPECT_EQ(stateOf("|A|B|"), "READY") << "on its own now";
    addObjects("|A|");
    setState("|A|", DELETED);
    EXPECT_EQ(stateOf("|A|B|"), "READY");
}

TEST_P(RegistrationRules, WhatLiesBelowAndWasRegisteredByItselfStays)
{
    addObjects("|A| |A|B|");
    setState("|A|", DELETED);
    EXPECT_EQ(stateOf("|A|B|"), "READY");
}

TEST_P(RegistrationRules, AnObjectThatIsThereIsAConflictAndNothingIsRegistered)
{
    addObjects("|A| |B|C|");
    const auto refused = refusal([&] {
        service_->registerObjects({registration("|new|"), registration("|A|"), registration("|B|", "|B|C|")});
    });
    EXPECT_EQ(refused.kind, Refusal::Conflict);
    EXPECT_EQ(refused.message, "objects are registered already");
    EXPECT_EQ(refused.details,
              (Texts{"object |A| is registered already", "object |B|C| is registered already"}));
    EXPECT_EQ(stateOf("|new|") + stateOf("|B|"), "nonenone");
    restart();
    EXPECT_EQ(stateOf("|new|"), "none");
}

TEST_P(RegistrationRules, AReadyObjectThatMayBeThereStaysAndIsNotListed)
{
    addObjects("|A| |A|B|");
    grant("|A|", VIEW);
    Registration again =
        withGrant(registration("|A|", "|A|B| |A|C|", true), {ROLE, Propagation::OBJECT, {RESTORE}});
    again.type = "other";

    EXPECT_EQ(registerAll({again}), (Texts{"|A|: |A|C|"}));

    EXPECT_EQ(stateOf("|A|") + stateOf("|A|B|") + stateOf("|A|C|"), "READYREADYPENDING");
    EXPECT_EQ(service_->object(ns("|A|")).type, "");
    EXPECT_EQ(definitionsOf("|A|"), (Texts{"7 OBJECT |OPERATIONS|VIEW|"}));
    EXPECT_TRUE(isAllowed("|A|", VIEW));
    EXPECT_EQ(registerAll({registration("|A|B|", "", true)}), (Texts{"|A|B|:"}));
}

TEST_P(RegistrationRules, APendingObjectThatMayBeThereIsRegisteredAnew)
{
    Registration first = withGrant(registration("|A|", "|A|B| |A|C|"), {ROLE, Propagation::OBJECT, {VIEW}});
    first.type = "first";
    registerAll({first});
    grant("|A|B|", VIEW);
    Registration second =
        withGrant(registration("|A|", "|A|B| |A|D|", true), {ROLE, Propagation::CHILDREN, {RESTORE}});
    second.type = "second";

    EXPECT_EQ(registerAll({second}), (Texts{"|A|: |A| |A|B| |A|D|"}));

    restart();
    EXPECT_EQ(service_->object(ns("|A|")).type, "second");
    EXPECT_EQ(definitionsOf("|A|"), (Texts{"7 CHILDREN |OPERATIONS|RESTORE|"}));
    EXPECT_EQ(definitionsOf("|A|B|"), Texts{});
    EXPECT_EQ(stateOf("|A|C|"), "none") << "no longer a part of it";
    setState("|A|", READY);
    EXPECT_EQ(stateOf("|A|B|") + stateOf("|A|D|"), "READYREADY");
}

TEST_P(RegistrationRules, AChildOfOneObjectCanBeRegisteredByItself)
{
    registerAll({registration("|A|", "|A|B|")});
    registerAll({registration("|A|B|", "|A|B|C|", true)});
    setState("|A|", DELETED);
    EXPECT_EQ(stateOf("|A|B|") + stateOf("|A|B|C|"), "PENDINGPENDING");
}

TEST_P(RegistrationRules, EveryFaultOfARegistrationIsTold)
{
    const ObjectNamespace fly("OPERATIONS", "FLY");
    const auto refused = refusal([&] {
        Registration odd = registration("|A|", "|B| |A| |A|C|");
        odd.type = "\xFF";
        service_->registerObjects(
            {withGrant(odd, {99, Propagation::OBJECT, {fly}}), registration("|A|C|"), registration("|")});
    });
    EXPECT_EQ(refused.kind, Refusal::Invalid);
    EXPECT_EQ(refused.message, "the registration is not valid");
    EXPECT_EQ(
        refused.details,
        (Texts{"the type of object |A| is not UTF-8, or holds a zero byte", "object |A|: there is no role 99",
               "object |A|: there is no operation |OPERATIONS|FLY|", "child |B| does not lie below |A|",
               "child |A| does not lie below |A|", "object |A| is named twice", "object |A|C| is named twice",
               "the root namespace cannot be registered"}));
    EXPECT_EQ(stateOf("|A|"), "none");
}

TEST_P(RegistrationRules, AListThatNamesAnObjectTwiceIsInvalidEvenWhenItMayBeThere)
{
    EXPECT_EQ(refusal([&] {
                  service_->registerObjects({registration("|A|", "", true), registration("|A|", "", true)});
              }).message,
              "object |A| is named twice");
}

TEST_P(RegistrationRules, ANameOrTypeThatIsTooLongIsInvalid)
{
    const ObjectNamespace tooLong("A", std::string(4096, 'x'));
    Registration wanted = registration("|A|");
    wanted.type = std::string(256, 't');
    EXPECT_EQ(refusal([&] { service_->registerObjects({registration(tooLong.str())}); }).kind,
              Refusal::Invalid);
    EXPECT_EQ(refusal([&] { service_->registerObjects({wanted}); }).message,
              "the type of object |A| has 256 bytes, and at most 255 are allowed");
    wanted.type.pop_back();
    registerAll({wanted});
    restart();
    EXPECT_EQ(service_->object(ns("|A|")).type, wanted.type);
}

TEST_P(RegistrationRules, ChangesOfStatesAreAllOrNone)
{
    addObjects("|A| |B|");
    const auto refused = refusal([&] {
        service_->updateStates(
            {{ns("|A|"), DELETED}, {ns("|x|"), READY}, {ns("|B|"), PENDING}, {ns("|y|"), READY}});
    });
    EXPECT_EQ(refused.kind, Refusal::Unknown);
    EXPECT_EQ(refused.details, (Texts{"there is no object |x|", "there is no object |y|"}));
    EXPECT_EQ(stateOf("|A|") + stateOf("|B|"), "READYREADY");

    const auto twice = refusal([&] {
        service_->updateStates({{ns("|A|"), DELETED}, {ns("|B|"), PENDING}, {ns("|A|"), READY}});
    });
    EXPECT_EQ(twice.kind, Refusal::Invalid);
    EXPECT_EQ(twice.message, "object |A| is named twice");
    EXPECT_EQ(stateOf("|A|") + stateOf("|B|"), "READYREADY");
}

TEST_P(RegistrationRules, ChangesOfNothingAreFine)
{
    EXPECT_EQ(registerAll({}), Texts{});
    service_->updateStates({});
    addObjects("|A|");
    setState("|A|", READY);
    EXPECT_EQ(stateOf("|A|"), "READY");
}

} // namespace
} // namespace keepsafe_test
