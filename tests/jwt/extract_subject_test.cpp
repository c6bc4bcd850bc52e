#include <keepsafe/jwt/extract_subject.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jwt/expected_lines.h"
#include "jwt/keys.h"
#include "support/CapturedLog.h"

extern "C" int subjectIsCutIntoItsFieldsInC(const char* token);
extern "C" int subjectIsDeliveredWholeInC(const char* token);

namespace keepsafe_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What an output parameter received, or nothing.
using Output = std::optional<std::string>;

Output taken(char* text)
{
    const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
    return text == nullptr ? Output() : Output(text);
}

struct Outputs {
    Output first;
    Output second;
    Output third;

    friend bool operator==(const Outputs& left, const Outputs& right)
    {
        return left.first == right.first && left.second == right.second && left.third == right.third;
    }
    friend void PrintTo(const Outputs& outputs, std::ostream* stream)
    {
        for (const Output& output : {outputs.first, outputs.second, outputs.third}) {
            *stream << (output ? '"' + *output + '"' : "nothing") << ' ';
        }
    }
};

/// What `extractSubject_C` delivers through its three output parameters, in their order.
Outputs fieldsOf(const char* token)
{
    char* first = nullptr;
    char* second = nullptr;
    char* third = nullptr;
    extractSubject_C(token, &first, &second, &third);
    return {taken(first), taken(second), taken(third)};
}

std::string userToken(const std::string& subject)
{
    return unsignedToken(R"({"is_machine":"false","sub":")" + subject + "\"}");
}

Outputs fieldsOfSubject(const std::string& subject) { return fieldsOf(userToken(subject).c_str()); }

Output subjectOf(const char* token)
{
    char* subject = nullptr;
    extractSubjectNT_C(token, &subject);
    return taken(subject);
}

const Outputs NOTHING{};

class ExtractSubjectTest : public testing::Test {
protected:
    CapturedLog log_;
};

TEST_F(ExtractSubjectTest, DeliversTheSecondFieldFirst)
{
    EXPECT_EQ(fieldsOfSubject("alice:corp:ldap"), (Outputs{"corp", "alice", "ldap"}));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ExtractSubjectTest, FieldsThatTheSubjectHasNotAreNotDelivered)
{
    EXPECT_EQ(fieldsOfSubject("alice"), (Outputs{{}, "alice", {}}));
    EXPECT_EQ(fieldsOfSubject("alice:corp"), (Outputs{"corp", "alice", {}}));
    EXPECT_EQ(fieldsOfSubject(""), NOTHING);
    EXPECT_EQ(fieldsOfSubject(":::"), NOTHING);
}

TEST_F(ExtractSubjectTest, EmptyFieldsVanish)
{
    EXPECT_EQ(fieldsOfSubject("alice::x"), (Outputs{"x", "alice", {}}));
    EXPECT_EQ(fieldsOfSubject("::alice:::corp:ldap::"), (Outputs{"corp", "alice", "ldap"}));
}

TEST_F(ExtractSubjectTest, FieldsAfterTheThirdAreDropped)
{
    EXPECT_EQ(fieldsOfSubject("alice:corp:ldap:more:still"), (Outputs{"corp", "alice", "ldap"}));
}

TEST_F(ExtractSubjectTest, AMachineHasItsWholeSubjectAnEmptyTextAndTs)
{
    EXPECT_EQ(fieldsOf(unsignedToken(R"({"is_machine":"true","sub":"host1"})").c_str()),
              (Outputs{"", "host1", "ts"}));
    EXPECT_EQ(fieldsOf(unsignedToken(R"({"is_machine":"true","sub":"a:b:c"})").c_str()),
              (Outputs{"", "a:b:c", "ts"}));
    const auto notice = lines::debug("JWT::extractSubject_C", "Machine certificate found");
    EXPECT_THAT(log_.lines(), ElementsAre(notice, notice));
}

TEST_F(ExtractSubjectTest, WithoutAMachineFlagOnlyTheWholeSubjectIsDelivered)
{
    const std::string token = unsignedToken(R"({"sub":"alice:corp:ldap"})");
    EXPECT_EQ(subjectOf(token.c_str()), "alice:corp:ldap");
    EXPECT_THAT(log_.lines(), IsEmpty());
    EXPECT_EQ(fieldsOf(token.c_str()), NOTHING);
    EXPECT_THAT(log_.lines(), ElementsAre(lines::error("isMachineCheck", lines::NOT_A_STRING)));
}

TEST_F(ExtractSubjectTest, AMachineFlagThatIsNoStringDeliversNothing)
{
    EXPECT_EQ(fieldsOf(unsignedToken(R"({"is_machine":true,"sub":"host1"})").c_str()), NOTHING);
    EXPECT_THAT(log_.lines(), ElementsAre(lines::error("isMachineCheck", lines::NOT_A_STRING)));
}

TEST_F(ExtractSubjectTest, ATokenThatCannotBeReadDeliversNothing)
{
    const auto failed = lines::error("extractSubject", "failed to create JWT");
    EXPECT_EQ(fieldsOf("a.b"), NOTHING);
    EXPECT_EQ(subjectOf("a.b"), Output());
    EXPECT_THAT(log_.lines(), ElementsAre(lines::WRONG_DOTS, failed, lines::WRONG_DOTS, failed));
}

TEST_F(ExtractSubjectTest, ATokenWithoutASubjectDeliversNothing)
{
    const std::string token = unsignedToken(R"({"is_machine":"true"})");
    EXPECT_EQ(fieldsOf(token.c_str()), NOTHING);
    EXPECT_EQ(subjectOf(token.c_str()), Output());
    const auto missing = lines::error("JWT::getSubject", lines::NOT_A_STRING);
    const auto failed = lines::error("extractSubject", "JWT getSubject failed");
    EXPECT_THAT(log_.lines(), ElementsAre(missing, failed, missing, failed));
}

TEST_F(ExtractSubjectTest, ANullTokenCountsAsAnEmptyText)
{
    EXPECT_EQ(fieldsOf(nullptr), NOTHING);
    EXPECT_EQ(subjectOf(nullptr), Output());
}

TEST_F(ExtractSubjectTest, WhatIsNotProducedLeavesItsOutputUntouched)
{
    char mark = 'x';
    char* first = &mark;
    char* third = &mark;
    char* second = nullptr;
    extractSubject_C(userToken("alice").c_str(), &first, &second, &third);
    EXPECT_EQ(first, &mark);
    EXPECT_EQ(third, &mark);
    EXPECT_EQ(taken(second), "alice");

    char* subject = &mark;
    extractSubjectNT_C("a.b", &subject);
    EXPECT_EQ(subject, &mark);
}

TEST_F(ExtractSubjectTest, AnOutputThatTheCallerDoesNotWantMayBeNull)
{
    char* second = nullptr;
    extractSubject_C(userToken("alice:corp:ldap").c_str(), nullptr, &second, nullptr);
    EXPECT_EQ(taken(second), "alice");
    extractSubjectNT_C(userToken("alice").c_str(), nullptr);
}

TEST_F(ExtractSubjectTest, WorksForCallersInC)
{
    const std::string token = userToken("alice:corp:ldap");
    EXPECT_TRUE(subjectIsCutIntoItsFieldsInC(token.c_str()));
    EXPECT_TRUE(subjectIsDeliveredWholeInC(token.c_str()));
}

} // namespace
} // namespace keepsafe_test
