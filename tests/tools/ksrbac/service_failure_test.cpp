#include <exception>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/http/service_failures.h>

#include "MasterServerTest.h"
#include "service/ask_service.h"

// The messages when the service refuses or cannot be reached.

namespace keepsafe_test {
namespace {

using ksrbac::ExitStatus;
using ksrbac::explainFailure;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::vector<std::string> GET_ROLE{"role", "get", "99"};

class ServiceFailure : public MasterServerTest {
protected:
    [[nodiscard]] std::string message() const { return messageOf(GET_ROLE, ExitStatus::LibraryFailed); }
    [[nodiscard]] std::string messageAfter(Play play)
    {
        server_.playNext(std::move(play));
        return message();
    }
};

TEST_F(ServiceFailure, ShowsStatusMeaningAndTheServicesOwnText)
{
    EXPECT_EQ(
        messageAfter(answer(404, R"({"errorCode":20,"errorMessage":"there is no role 99"})")),
        "role get 99: status 20: an argument has a value that is not allowed (HTTP status 404: there is "
        "no role 99)");
    EXPECT_EQ(
        messageAfter(answer(400, R"({"errorCode":7610,"errorMessage":"bad","errorDetails":["a","b"]})")),
        "role get 99: status 7610: a document, name or token is malformed (HTTP status 400: bad (a; b))");
    const std::string taken =
        "role get 99: status 20: an argument has a value that is not allowed (HTTP status 404: no";
    EXPECT_EQ(messageAfter(answer(404, R"({"errorCode":20,"errorMessage":"no","errorDetails":["no"]})")),
              taken + ')')
        << "a repetition is left out";
    EXPECT_EQ(messageAfter(answer(404, R"({"errorCode":20,"errorMessage":"no","errorDetails":["no","a"]})")),
              taken + " (a))");
    EXPECT_EQ(messageAfter(answer(409, R"({"errorCode":4711,"errorMessage":"no"})")),
              "role get 99: status 4711: status 4711 has no message text (HTTP status 409: no)");
}

TEST_F(ServiceFailure, ShowsTheHttpStatusOfAnAnswerThatSaysNothingElse)
{
    EXPECT_EQ(messageAfter(answer(500, "<html>")),
              "role get 99: status 114: a conversion or a request to a server failed (HTTP status 500)");
}

TEST_F(ServiceFailure, KeepsForeignBytesOffTheTerminal)
{
    EXPECT_THAT(messageAfter(answer(404, R"({"errorCode":20,"errorMessage":"a\n\u001b[2J"})")),
                HasSubstr(R"((HTTP status 404: a\x0A\x1B[2J))"));
}

TEST_F(ServiceFailure, ShowsWhatIsWrongWithAnAnswer)
{
    EXPECT_EQ(messageAfter(answer(200, "{")).substr(0, 60),
              "role get 99: status 7610: a document, name or token is malfo");
    EXPECT_EQ(
        messageAfter(answer(200, R"({"data":{"type":"x","id":"1","attributes":{"name":"n"}}})")),
        "role get 99: status 9103: a response has the wrong type or cannot be read (Unexpected response "
        "type: x)");
    server_.playNext(answer(
        200, R"({"data":{"type":"managedObject","id":"A","attributes":{"inherit":true,"state":"READY"}}})"));
    EXPECT_EQ(messageOf({"object", "get", "|A|"}, ExitStatus::LibraryFailed),
              "object get |A|: the service's answer holds a name, number or propagation that is malformed");
}

TEST_F(ServiceFailure, ShowsTheStatusOfAFailedTransferAndItsMeaning)
{
    EXPECT_EQ(messageAfter(bytesThenClose("")),
              "role get 99: transfer status 52: the server closed the connection without an answer (GET "
              "https://" +
                  root_.address + ":1556/ failed with status 52: Empty reply from server)");
    EXPECT_THAT(messageAfter(bytesThenClose("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{")),
                StartsWith("role get 99: transfer status 18: the response ended early (GET "));
}

TEST_F(ServiceFailure, SaysWhatToConfigure)
{
    const std::string file = root_.configurationFile;
    configure("");
    EXPECT_EQ(message(), "role get 99: status 114: a conversion or a request to a server failed (no master "
                         "server: \"master_server\" is not configured in " +
                             file + ')');
    configure(root_.nameLine());
    EXPECT_EQ(message(), "role get 99: transfer status 58: the host's certificate or key cannot be used (no "
                         "certificate: \"tls.certificate\" is not configured in " +
                             file + ')');
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(ServiceFailure, NamesACertificateFileThatIsMissing)
{
    configure(root_.nameLine() + "[tls]\ncertificate = \"/none/host.pem\"\nkey = \"" + root_.client.key +
              "\"\nca = \"" + root_.authority.file() + "\"\n");
    EXPECT_EQ(message(), "role get 99: transfer status 58: the host's certificate or key cannot be used "
                         "(cannot read the certificate \"/none/host.pem\": No such file or directory)");
}

TEST_F(ServiceFailure, TellsAServerThatIsNotThere)
{
    configure("master_server = \"127.63.0.1\"\n" +
              root_.tlsSection()); // an address that no test's server takes
    EXPECT_THAT(message(), StartsWith("role get 99: transfer status 7: the server cannot be reached (GET "));
}

TEST_F(ServiceFailure, OfTheSecondRequestOfAnUpdateIsTold)
{
    server_.playNext(answer(200,
                            R"({"data":{"type":"accessControlRole","id":"3","links":{"self":{"href":"/r"}},)"
                            R"("attributes":{"name":"n"}}})"));
    server_.playNext(answer(409, R"({"errorCode":20,"errorMessage":"the name is taken"})"));
    EXPECT_EQ(
        messageOf({"role", "update", "3", "--name", "m"}, ExitStatus::LibraryFailed),
        "role update 3: status 20: an argument has a value that is not allowed (HTTP status 409: the name "
        "is taken)");
}

TEST_F(ServiceFailure, IsWrittenToTheLogAsWell)
{
    (void)messageAfter(answer(404, R"({"errorCode":20,"errorMessage":"there is no role 99"})"));
    EXPECT_THAT(readFile(root_.path("log")),
                HasSubstr("RoleAPI::get_role: Unexpected HTTP status: 404: there is no role 99\n"));
}

TEST(ExplainFailure, TellsTransferStatusesFromThoseOfTheProductByTheException)
{
    const auto cause = std::make_exception_ptr(Tessara::Keepsafe::TransferFailure(7, "POST failed"));
    EXPECT_EQ(explainFailure(7, cause).message,
              "transfer status 7: the server cannot be reached (POST failed)");
    EXPECT_EQ(explainFailure(8024, cause).message,
              "status 8024: the change could not be committed after its callback succeeded (POST failed)");
    EXPECT_EQ(explainFailure(12, nullptr).message,
              "status 12: an access cache, key file or lock file cannot be used");
    EXPECT_EQ(explainFailure(99, std::make_exception_ptr(Tessara::Keepsafe::TransferFailure(99, ""))).message,
              "transfer status 99: the request failed");
}

} // namespace
} // namespace keepsafe_test
