#include <new>
#include <set>
#include <string>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/client/AccessChecker.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>

#include "StringSink.h"
#include "commands/Decider.h"
#include "commands/make_checker.h"

namespace keepsafe_test {
namespace {

namespace Rbac = Tessara::Keepsafe::Rbac;

using ksrbac::ExitStatus;

const Rbac::ObjectNamespace VIEW = Rbac::root_namespaces::operations::VIEW;

/// Returns the status and makes the checker that it was given.
class PreparedClient final : public Rbac::AccessControlClient {
public:
    PreparedClient(int status, boost::shared_ptr<const Rbac::AccessChecker> checker)
        : status_(status), checker_(std::move(checker))
    {
    }

    int createAccessChecker(Tessara::Dal::DbConnectionManager* /*manager*/, const std::string& token,
                            const Rbac::ObjectNamespace& operation, int /*reserved*/,
                            boost::shared_ptr<const Rbac::AccessChecker>& checker) override
    {
        askedToken = token;
        return createAccessChecker(std::set<int>(), operation, 0, checker);
    }
    int createAccessChecker(const std::set<int>& roleIds, const Rbac::ObjectNamespace& operation,
                            int /*reserved*/, boost::shared_ptr<const Rbac::AccessChecker>& checker) override
    {
        askedRoles = roleIds;
        askedOperation = operation;
        if (status_ == 0) {
            checker = checker_;
        }
        return status_;
    }

    std::string askedToken;
    std::set<int> askedRoles;
    Rbac::ObjectNamespace askedOperation;

private:
    int status_;
    boost::shared_ptr<const Rbac::AccessChecker> checker_;
};

TEST(MakeChecker, HandsOnRolesAndOperation)
{
    const auto made = boost::make_shared<Rbac::ConstantAccessChecker<false>>();
    PreparedClient client(0, made);
    EXPECT_EQ(ksrbac::makeChecker(client, {3, -5}, VIEW), made);
    EXPECT_EQ(client.askedRoles, (std::set<int>{-5, 3}));
    EXPECT_EQ(client.askedOperation, VIEW);
}

TEST(MakeChecker, HandsOnATokenAndOperation)
{
    const auto made = boost::make_shared<Rbac::ConstantAccessChecker<false>>();
    PreparedClient client(0, made);
    EXPECT_EQ(ksrbac::makeCheckerForToken(client, "a.b.c", VIEW), made);
    EXPECT_EQ(client.askedToken, "a.b.c");
    EXPECT_EQ(client.askedOperation, VIEW);
}

/// What is thrown for roles, and the same for a token; 0 when nothing is.
int statusOfMakingWith(PreparedClient& client)
{
    const auto statusOf = [](const auto& make) {
        try {
            (void)make();
        } catch (const EC_exception& error) {
            return error.status();
        } catch (const ksrbac::CommandFailure& error) {
            return error.failure().status;
        }
        return 0;
    };
    const int status = statusOf([&] { return ksrbac::makeChecker(client, {1}, VIEW); });
    EXPECT_EQ(statusOf([&] { return ksrbac::makeCheckerForToken(client, "a.b.c", VIEW); }), status);
    return status;
}

TEST(MakeChecker, ThrowsTheStatusOfTheClient)
{
    PreparedClient client(13, nullptr);
    EXPECT_EQ(statusOfMakingWith(client), 13);
}

TEST(MakeChecker, SuccessWithoutACheckerIsAFailure)
{
    PreparedClient client(0, nullptr);
    EXPECT_EQ(statusOfMakingWith(client), 36);
}

/// Allows what lies under |YES|, fails for what lies under |BROKEN|.
class PrefixChecker final : public Rbac::AccessChecker {
public:
    [[nodiscard]] bool checkAccess(const Rbac::ObjectNamespace& object) const override
    {
        if (Rbac::ObjectNamespace("BROKEN").is_ancestor_of(object)) {
            throw EC_exception(12);
        }
        return Rbac::ObjectNamespace("YES").is_ancestor_of(object);
    }
};

class DeciderTest : public testing::Test {
protected:
    ksrbac::Decider decider(bool json) { return {checker_, VIEW, json, console_}; }
    std::string printed()
    {
        console_.flush();
        return results_.text;
    }
    static std::string nowhere() { return "nowhere"; }

    PrefixChecker checker_;
    StringSink results_;
    StringSink messages_;
    ksrbac::Console console_{results_, messages_};
};

TEST_F(DeciderTest, PrintsAnswersWithTheObjectAsGiven)
{
    auto decider = this->decider(false);
    decider.decide("|YES|", nowhere);
    decider.decide("|NO|", nowhere);
    decider.decide("|YES|%7c+\xC3\xA9|", nowhere);
    EXPECT_EQ(printed(), "allow\t|YES|\ndeny\t|NO|\nallow\t|YES|%7c+\xC3\xA9|\n");
    EXPECT_EQ(messages_.text, "");
}

TEST_F(DeciderTest, NoNameStartsALineOrSteersTheTerminal)
{
    auto decider = this->decider(false);
    for (const char* text : {"|NO|\nallow\t|YES|", "|YES|\x1B[2J|", "|YES|\xE2\x80\xAEx|", "|YES|\xC2\x9B|",
                             "|YES|\xFF|", "|YES|\xE2\x80\xA8|"}) {
        decider.decide(text, nowhere);
    }
    EXPECT_EQ(printed(), "deny\t|NO|%0Aallow%09|YES|\n"
                         "allow\t|YES|%1B%5B2J|\n"
                         "allow\t|YES|%E2%80%AEx|\n"
                         "allow\t|YES|%C2%9B|\n"
                         "allow\t|YES|%FF|\n"
                         "allow\t|YES|%E2%80%A8|\n");
}

TEST_F(DeciderTest, PrintsJsonWithTheCanonicalText)
{
    auto decider = this->decider(true);
    decider.decide("|YES|%7c+\xC3\xA9|", nowhere);
    decider.decide("|", nowhere);
    EXPECT_EQ(printed(),
              "{\"object\":\"|YES|%7C+%C3%A9|\",\"operation\":\"|OPERATIONS|VIEW|\",\"allowed\":true}\n"
              "{\"object\":\"|\",\"operation\":\"|OPERATIONS|VIEW|\",\"allowed\":false}\n");
}

TEST_F(DeciderTest, ComplainsAboutMalformedTextsAndGoesOn)
{
    auto decider = this->decider(false);
    for (const char* text : {"", "YES", "|YES", "|YES| ", "|YES|\r", "|%4|", "\x1B|"}) {
        decider.decide(text, nowhere);
    }
    decider.decide("|YES|", nowhere);
    EXPECT_EQ(printed(), "allow\t|YES|\n");
    const std::string message = "nowhere: not an object namespace: ";
    const std::string start = ": it does not start with '|'\n";
    const std::string end = ": it does not end with '|'\n";
    EXPECT_EQ(messages_.text, message + "\"\"" + start + message + "\"YES\"" + start + message + "\"|YES\"" +
                                  end + message + "\"|YES| \"" + end + message + "\"|YES|\\x0D\"" + end +
                                  message +
                                  "\"|%4|\": byte 2: '%' is not followed by two hexadecimal digits\n" +
                                  message + "\"\\x1B|\"" + start);
}

TEST_F(DeciderTest, TheWorstAnswerDecidesTheStatus)
{
    auto decider = this->decider(false);
    EXPECT_EQ(decider.status(), ExitStatus::Good);
    decider.decide("|YES|", nowhere);
    EXPECT_EQ(decider.status(), ExitStatus::Good);
    decider.decide("|NO|", nowhere);
    EXPECT_EQ(decider.status(), ExitStatus::Negative);
    decider.decide("|YES|", nowhere);
    EXPECT_EQ(decider.status(), ExitStatus::Negative);
    decider.decide("x", nowhere);
    EXPECT_EQ(decider.status(), ExitStatus::BadInput);
    decider.decide("|NO|", nowhere);
    EXPECT_EQ(decider.status(), ExitStatus::BadInput);
}

TEST_F(DeciderTest, AFailureOfTheCheckerIsNoAnswer)
{
    auto decider = this->decider(false);
    decider.decide("|YES|", nowhere);
    EXPECT_THROW(decider.decide("|BROKEN|", nowhere), EC_exception);
    EXPECT_EQ(printed(), "allow\t|YES|\n");
}

} // namespace
} // namespace keepsafe_test
