#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MasterServerTest.h"
#include "default_signals.h"

// `ksrbac object register` and `unregister`: what is sent to the service, and when.

namespace keepsafe_test {
namespace {

using ksrbac::ExitStatus;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

const std::string UPDATES = "POST " + SERVICE + "bulk-object-update-requests ";

std::string record(const std::string& object)
{
    return R"({"id":")" + object + R"(","relationships":{"registeredObjects":{"data":[{"id":")" + object +
           R"("}]}}})";
}

std::string update(const std::string& object, const std::string& state)
{
    return UPDATES +
           R"({"data":{"type":"managedObjectUpdate","attributes":{"managedObjectsWithAttributes":[)" +
           R"({"objectId":")" + object + R"(","state":")" + state + R"("}]}}})";
}

Play refusal(int status)
{
    return answer(status, R"({"errorCode":20,"errorMessage":"no","errorDetails":["why"]})");
}

class RegisterCommand : public MasterServerTest {
protected:
    RegisterCommand()
    {
        useDefaultSignals();
        server_.playAlways(answer(201, "{}"));
    }

    /// Registers |A| with the program between the phases.
    static std::vector<std::string> registerWith(const std::vector<std::string>& exec)
    {
        std::vector<std::string> arguments{"object", "register", "|A|", "--type", "VM"};
        arguments.insert(arguments.end(), exec.begin(), exec.end());
        return arguments;
    }
    std::string failureOf(const std::vector<std::string>& arguments) const
    {
        return messageOf(arguments, ExitStatus::LibraryFailed);
    }
};

TEST_F(RegisterCommand, SendsWhatIsSaidOfTheObjectAndCommits)
{
    server_.playNext(answer(201, record("|A|b|")));
    const auto result =
        run({"object", "register", "|A|b|", "--type", "VM", "--child", "|x|", "--child", "|y|", "--grant",
             "17:|O|V|:CHILDREN", "--grant=3:|O|V|,|O|W|", "--inherit", "off", "--ignore-registered"});
    EXPECT_EQ(result.results + result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_THAT(
        requests(),
        ElementsAre("POST " + SERVICE +
                        R"(object-registration-requests {"data":{"id":"|A|b|","type":)"
                        R"("objectRegistrationData","attributes":{"objectType":"VM",)"
                        R"("ignoreAlreadyRegistered":true,"accessControlAttributes":{"inherit":false,)"
                        R"("accessDefinitions":[{"roleId":17,"operations":["|O|V|"],"propagation":)"
                        R"("CHILDREN"},{"roleId":3,"operations":["|O|V|","|O|W|"],"propagation":)"
                        R"("OBJECT"}]},"relativeChildNamespaces":["|x|","|y|"]}}})",
                    update("|A|b|", "READY")));
}

TEST_F(RegisterCommand, RunsTheProgramBetweenThePhases)
{
    server_.playNext(answer(201, record("|A|")));
    const std::string file = root_.path("out");
    EXPECT_EQ(run(registerWith({"--exec", "sh", "--json", "--", "-c", "echo $KSRBAC_OBJECT $@ > $0", file,
                                "--json", "-x", "--", "y"}))
                  .status,
              ExitStatus::Good);
    EXPECT_EQ(readFile(file), "|A| --json -x -- y\n");
    EXPECT_EQ(requests().back(), update("|A|", "READY"));
}

TEST_F(RegisterCommand, RollsBackWhenTheProgramFails)
{
    server_.playNext(answer(201, record("|A|")));
    EXPECT_EQ(
        failureOf(registerWith({"--exec=false"})),
        "object register |A|: status 8022: the registration was rolled back because its callback failed "
        "(false ended with status 1)");
    EXPECT_EQ(requests().back(), update("|A|", "DELETED"));
}

TEST_F(RegisterCommand, RollsBackWhenTheProgramCannotBeStarted)
{
    server_.playNext(answer(201, record("|A|")));
    EXPECT_THAT(failureOf(registerWith({"--exec=/none/program"})),
                HasSubstr("(/none/program cannot be started: No such file or directory)"));
    EXPECT_EQ(requests().back(), update("|A|", "DELETED"));
}

TEST_F(RegisterCommand, RollsBackWhenASignalEndsTheProgram)
{
    server_.playNext(answer(201, record("|A|")));
    EXPECT_THAT(failureOf(registerWith({"--exec", "sh", "--", "-c", "kill -INT $PPID; exec sleep 60"})),
                HasSubstr("(sh was ended by signal 2)"));
    EXPECT_EQ(requests().back(), update("|A|", "DELETED"));
}

TEST_F(RegisterCommand, DoesNotRunTheProgramWhenTheServiceRefuses)
{
    server_.playNext(refusal(409));
    const std::string file = root_.path("out");
    EXPECT_EQ(
        failureOf(registerWith({"--exec=touch", "--", file})),
        "object register |A|: status 20: an argument has a value that is not allowed (HTTP status 409: no "
        "(why))");
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_THAT(requests(), SizeIs(1));
}

TEST_F(RegisterCommand, SaysADetailThatRepeatsTheMessageOnce)
{
    server_.playNext(answer(409, R"({"errorCode":20,"errorMessage":"no","errorDetails":["no"]})"));
    EXPECT_THAT(failureOf(registerWith({})), HasSubstr("(HTTP status 409: no)"));
}

TEST_F(RegisterCommand, TellsAFailedSecondPhaseWithWhatTheServiceSays)
{
    server_.playNext(answer(201, record("|A|")));
    server_.playNext(refusal(409));
    EXPECT_EQ(
        failureOf(registerWith({})),
        "object register |A|: status 8024: the change could not be committed after its callback succeeded "
        "(HTTP status 409: no (why))");
    server_.playNext(answer(201, record("|A|")));
    server_.playNext(answer(500, "<html>"));
    EXPECT_EQ(
        failureOf(registerWith({"--exec=false"})),
        "object register |A|: status 8025: the change could not be rolled back after its callback failed "
        "(false ended with status 1; HTTP status 500)");
}

TEST_F(RegisterCommand, TellsAFailedTransferInEitherPhase)
{
    server_.playNext(bytesThenClose(""));
    EXPECT_THAT(failureOf(registerWith({})), StartsWith("object register |A|: transfer status 52: the server "
                                                        "closed the connection without an answer (POST "));
    server_.playNext(answer(201, record("|A|")));
    server_.playNext(bytesThenClose(""));
    server_.playNext(bytesThenClose(""));
    EXPECT_THAT(
        failureOf(registerWith({})),
        StartsWith("object register |A|: status 8024: the change could not be committed after its callback "
                   "succeeded (POST https://" +
                   root_.address + ":1556/ failed with status 52"));
}

TEST_F(RegisterCommand, ShowsWhatIsWrongWithAnAnswer)
{
    server_.playNext(answer(201, R"({"name":"|A|"})"));
    EXPECT_THAT(failureOf(registerWith({})),
                StartsWith("object register |A|: status 9103: a response has the "
                           "wrong type or cannot be read (Error parsing JSON "));
}

TEST_F(RegisterCommand, SaysWhatToConfigure)
{
    configure("");
    EXPECT_EQ(
        failureOf(registerWith({})),
        "object register |A|: status 114: a conversion or a request to a server failed (no master server: "
        "\"master_server\" is not configured in " +
            root_.configurationFile + ')');
}

TEST_F(RegisterCommand, BadArgumentsAreToldBeforeAnythingIsSent)
{
    const auto message = [this](const std::vector<std::string>& arguments) {
        std::vector<std::string> all{"object", "register"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return messageOf(all, ExitStatus::BadInput);
    };
    const std::string needed = "object register: give NS and --type, or --bulk";
    EXPECT_EQ(message({"|A|"}), needed);
    EXPECT_EQ(message({"--type=VM"}), needed);
    EXPECT_EQ(message({"A", "--type=VM"}), "NS: not a namespace: \"A\": it does not start with '|'");
    EXPECT_EQ(message({"|A|", "--type=\xFF"}), "--type: not UTF-8: \"\\xFF\"");
    EXPECT_EQ(message({"|A|", "--type=VM", "--child=x"}),
              "--child: not a namespace: \"x\": it does not start with '|'");
    EXPECT_EQ(message({"|A|", "--type=VM", "--inherit=yes"}), "--inherit: neither on nor off: \"yes\"");
    EXPECT_EQ(message({"|A|", "--type=VM", "--exec="}), "--exec: a program is needed");
    EXPECT_EQ(message({"|A|", "--type=VM", "--", "x"}).substr(0, 42),
              "unexpected argument \"x\"\nRun 'ksrbac object");
    const std::string all = "object register: with --bulk the file says what there is to say of the objects";
    EXPECT_EQ(message({"|A|", "--bulk=f"}), all);
    EXPECT_EQ(message({"--bulk=f", "--ignore-registered"}), all);
    EXPECT_EQ(message({"--bulk=f", "--grant=17:|O|"}), all);
    EXPECT_EQ(message({"--bulk=/none/f"}), "cannot read /none/f: No such file or directory");
    EXPECT_EQ(messageOf({"object", "unregister", "|"}, ExitStatus::BadInput),
              "NS: the root is not an object that was registered");
    EXPECT_THAT(requests(), IsEmpty());
}

class UnregisterCommand : public RegisterCommand {};

TEST_F(UnregisterCommand, MakesTheObjectPendingAndThenDeletesIt)
{
    const auto result = run({"object", "unregister", "|A|", "--exec=true"});
    EXPECT_EQ(result.results + result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_THAT(requests(), ElementsAre(update("|A|", "PENDING"), update("|A|", "DELETED")));
}

TEST_F(UnregisterCommand, RestoresTheObjectWhenTheProgramFails)
{
    EXPECT_EQ(
        failureOf({"object", "unregister", "|A|", "--exec", "sh", "--", "-c", "exit 3"}),
        "object unregister |A|: status 8023: the unregistration was rolled back because its callback failed "
        "(sh ended with status 3)");
    EXPECT_THAT(requests(), ElementsAre(update("|A|", "PENDING"), update("|A|", "READY")));
}

TEST_F(UnregisterCommand, TellsWhatTheServiceSays)
{
    server_.playNext(refusal(404));
    EXPECT_EQ(
        failureOf({"object", "unregister", "|A|"}),
        "object unregister |A|: status 20: an argument has a value that is not allowed (HTTP status 404: no "
        "(why))");
}

class BulkRegistration : public RegisterCommand {
protected:
    BulkRegistration()
    {
        writeFile(file_, R"([{"namespace":"|C|","type":"VM"},{"namespace":"|A|","type":"VM"},)"
                         R"({"namespace":"|B|","type":"VM"}])");
        server_.playNext(
            answer(201, R"({"data":[)" + record("|C|") + ',' + record("|A|") + ',' + record("|B|") + "]}"));
    }
    std::vector<std::string> bulkWith(const std::vector<std::string>& exec) const
    {
        std::vector<std::string> arguments{"object", "register", "--bulk", file_};
        arguments.insert(arguments.end(), exec.begin(), exec.end());
        return arguments;
    }
    /// The states of the last request, in its order.
    [[nodiscard]] std::string states() const
    {
        const std::string begin =
            UPDATES +
            R"({"data":{"type":"managedObjectUpdate","attributes":{"managedObjectsWithAttributes":[)";
        const std::string last = requests().back();
        EXPECT_THAT(last, StartsWith(begin));
        return last.substr(begin.size(), last.size() - begin.size() - 4);
    }

    const std::string file_ = root_.path("objects.json");
};

std::string state(const std::string& object, const std::string& state)
{
    return R"({"objectId":")" + object + R"(","state":")" + state + R"("})";
}

TEST_F(BulkRegistration, CommitsAllInOneRequest)
{
    const auto result = run(bulkWith({}));
    EXPECT_EQ(result.results + result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_THAT(requests(), SizeIs(2));
    EXPECT_THAT(requests().front(), StartsWith("POST " + SERVICE + "bulk-object-registration-requests "));
    EXPECT_EQ(states(), state("|A|", "READY") + ',' + state("|B|", "READY") + ',' + state("|C|", "READY"));
}

TEST_F(BulkRegistration, RunsTheProgramForOneObjectAfterTheOtherAndJudgesEach)
{
    const std::string log = root_.path("out");
    const auto result = run(bulkWith(
        {"--exec", "sh", "--", "-c", "echo $KSRBAC_OBJECT >> $0; test $KSRBAC_OBJECT != '|A|'", log}));
    EXPECT_EQ(readFile(log), "|C|\n|A|\n|B|\n");
    EXPECT_EQ(
        result.messages,
        "ksrbac: object register --bulk: |A|: sh ended with status 1\n"
        "ksrbac: object register --bulk: status 8022: the registration was rolled back because its callback "
        "failed (1 of 3 objects failed)\n");
    EXPECT_EQ(result.status, ExitStatus::LibraryFailed);
    EXPECT_EQ(states(), state("|B|", "READY") + ',' + state("|C|", "READY") + ',' + state("|A|", "DELETED"));
}

TEST_F(BulkRegistration, ASignalLeavesOutWhatWasNotStarted)
{
    const auto result = run(bulkWith(
        {"--exec", "sh", "--", "-c", "test $KSRBAC_OBJECT = '|C|' || { kill -TERM $PPID; exec sleep 60; }"}));
    EXPECT_EQ(
        result.messages,
        "ksrbac: object register --bulk: |A|: sh was ended by signal 15\n"
        "ksrbac: object register --bulk: interrupted by signal 15: |B| and all that follow are left out\n"
        "ksrbac: object register --bulk: status 8022: the registration was rolled back because its callback "
        "failed (2 of 3 objects failed)\n");
    EXPECT_EQ(states(),
              state("|C|", "READY") + ',' + state("|A|", "DELETED") + ',' + state("|B|", "DELETED"));
}

} // namespace
} // namespace keepsafe_test
