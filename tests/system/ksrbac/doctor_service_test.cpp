#include <ctime>
#include <string>

#include <gmock/gmock.h>

#include "DoctorTest.h"
#include "support/Certificates.h"
#include "support/HttpsServer.h"
#include "support/PseudoTerminal.h"

// ksrbac doctor: what it finds out from the master server.

namespace keepsafe_test {
namespace {

using testing::HasSubstr;

constexpr char ANSWER[] = R"({"data":{"type":"accessCache","id":"service"}})";

/// The host of `DoctorTest`, whose service has ended, with a server in its place that gives prepared answers.
class DoctorOfServices : public DoctorTest {
protected:
    DoctorOfServices()
    {
        root_.stop();
        reconfigure(root_.path("etc/tls/host.pem"), client_.certificate);
        reconfigure(root_.path("etc/tls/host.key"), client_.key);
        reconfigure(root_.path("etc/tls/ca.pem"), authority_.file());
    }

    [[nodiscard]] HttpsServer::Settings settings(const std::string& names,
                                                 long validSeconds = 100L * 86400) const
    {
        CertificateRequest request{"server", "serverAuth", names};
        request.validToSeconds = validSeconds;
        HttpsServer::Settings made;
        made.certificate = authority_.issue(request);
        made.clientCa = authority_.file();
        made.address = root_.address();
        made.port = 1556;
        return made;
    }
    [[nodiscard]] std::string ownName() const { return "IP:" + root_.address(); }

    static std::string dateHeader(std::time_t time)
    {
        std::tm parts{};
        gmtime_r(&time, &parts);
        char text[64];
        EXPECT_NE(std::strftime(text, sizeof text, "Date: %a, %d %b %Y %H:%M:%S GMT\r\n", &parts), 0U);
        return text;
    }

    const CertificateAuthority authority_{root_.path(), "ca"};
    const CertificateFiles client_ = authority_.issueForClient("host");
};

TEST_F(DoctorOfServices, FindsAServiceThatIsDown)
{
    const DoctorReport report = doctor();
    EXPECT_EQ(report.of("master server")
                  .rfind("failure  master server: ADDRESS: the server cannot be reached "
                         "(transfer status 7: ",
                         0),
              0U)
        << report.of("master server");
    EXPECT_EQ(report.of("server certificate"),
              "skipped  server certificate: because the master server has not shown one");
    EXPECT_EQ(report.of("clock"), "skipped  clock: because the master server does not answer");
    EXPECT_EQ(report.of("access cache"),
              "ok       access cache: ROOT/wmc/webserver/temp/access-caches/service");
    EXPECT_EQ(report.exitStatus, 2);
}

TEST_F(DoctorOfServices, WaitsNoLongerThanItMay)
{
    HttpsServer server(settings(ownName()));
    server.playAlways(silence());
    const std::time_t begin = std::time(nullptr);
    EXPECT_EQ(doctor({"--timeout", "1"}).of("master server"),
              "failure  master server: ADDRESS: no answer within 1 s\n"
              "         see whether the service runs, and whether its port can be reached from here");
    EXPECT_LT(std::time(nullptr) - begin, 20);
}

TEST_F(DoctorOfServices, ShowsOnATerminalWhatItWaitsForAndColoursItsFindings)
{
    HttpsServer server(settings(ownName()));
    server.playAlways(silence());
    const auto shown = [this](const std::string& noColor) {
        PseudoTerminal terminal;
        Process program = [&] {
            const Descriptor end = terminal.open();
            return Process::start({{"env", "TERM=xterm", "NO_COLOR=" + noColor, KSRBAC_BINARY, "--root",
                                    root_.path(), "doctor", "--timeout", "2"},
                                   end.get(),
                                   end.get(),
                                   end.get()});
        }();
        std::string text = terminal.shownAtEnd();
        EXPECT_EQ(program.wait().exitStatus, 2);
        return text;
    };
    const std::string coloured = shown("");
    EXPECT_THAT(coloured, HasSubstr("\r\x1B[Kdoctor: master server (1 s)\r\x1B[K"));
    EXPECT_THAT(coloured, HasSubstr("\x1B[31mfailure\x1B[0m  master server: "));
    EXPECT_THAT(coloured, HasSubstr("\x1B[32mok\x1B[0m       configuration: "));
    EXPECT_THAT(shown("1"), HasSubstr("\nfailure  master server: "));
}

TEST_F(DoctorOfServices, ShowsNoProgressWhereThereIsNoTerminal)
{
    HttpsServer server(settings(ownName()));
    server.playAlways(silence());
    EXPECT_EQ(doctor({"--timeout", "2"}).errors, "");
}

TEST_F(DoctorOfServices, ComparesTheClocks)
{
    HttpsServer server(settings(ownName()));
    server.playAlways(answer(200, ANSWER, dateHeader(std::time(nullptr) - 300)));
    const std::string ahead = doctor().of("clock");
    EXPECT_TRUE(
        std::regex_match(ahead, std::regex("warning  clock: (299|30[0-9]) s ahead of the master server's: "
                                           "session tokens expire too early\n         set the clock of "
                                           "this host, and keep it by a time service")))
        << ahead;
    server.playAlways(answer(200, ANSWER, dateHeader(std::time(nullptr) + 3600)));
    EXPECT_NE(doctor().of("clock").find(" s behind the master server's: session tokens expire too late"),
              std::string::npos);
    server.playAlways(answer(200, ANSWER));
    EXPECT_EQ(doctor().of("clock"), "skipped  clock: because the master server's answers have no date");
}

TEST_F(DoctorOfServices, RepeatsThatTheServiceCallsItsCacheOutdated)
{
    HttpsServer server(settings(ownName()));
    server.playAlways(answer(200, ANSWER, "Keepsafe-Access-Cache: outdated\r\n"));
    const DoctorReport report = doctor();
    EXPECT_EQ(
        report.of("published cache"),
        "warning  published cache: the service says that the cache is outdated: changes are stored, but not "
        "in it\n"
        "         the log of the service says why; mostly the cache's lock is held, or the disk is full");
    EXPECT_EQ(
        report.of("cache state"),
        "warning  cache state: generation 2, last written now; the service has changes that are not in it\n"
        "         see the published cache above");
}

TEST_F(DoctorOfServices, TellsWhatAServersCertificateIsFor)
{
    const HttpsServer server(settings("DNS:elsewhere.example,IP:127.0.0.9"));
    const DoctorReport report = doctor();
    EXPECT_EQ(report.of("master server")
                  .rfind("failure  master server: ADDRESS: the server's certificate is not "
                         "accepted (transfer status 60: ",
                         0),
              0U)
        << report.of("master server");
    EXPECT_EQ(
        report.of("server certificate"),
        "failure  server certificate: server is not for ADDRESS but for DNS:elsewhere.example, IP "
        "Address:127.0.0.9\n"
        "         correct master_server in ROOT/etc/keepsafe.toml, or issue the certificate for that name "
        "(subjectAltName)");
}

TEST_F(DoctorOfServices, TellsWhenAServersCertificateExpires)
{
    {
        const HttpsServer server(settings(ownName(), -60));
        EXPECT_EQ(doctor().of("server certificate"), "failure  server certificate: server expired at TIME\n"
                                                     "         renew it on the master server");
    }
    const HttpsServer server(settings(ownName(), 5L * 86400));
    EXPECT_EQ(doctor().of("server certificate"),
              "warning  server certificate: server expires in N d, at TIME\n"
              "         renew it on the master server");
}

TEST_F(DoctorOfServices, ToldOfRefusalsAndOfOtherPrograms)
{
    HttpsServer server(settings(ownName()));
    server.playAlways(answer(404, R"({"errorCode":20,"errorMessage":"no such path"})"));
    EXPECT_EQ(
        doctor().of("master server"),
        "failure  master server: ADDRESS refuses to name the access cache of |: HTTP status 404: no such "
        "path\n"
        "         see the log of the service");
    server.playAlways(answer(200, "{}"));
    EXPECT_EQ(doctor({"--for", "|A|"}).of("master server"),
              "failure  master server: ADDRESS answers, but not with the id of an access cache\n"
              "         see whether the access-control service listens at this address, or another program");
}

TEST_F(DoctorOfServices, NamesACacheThatTheHostDoesNotHave)
{
    HttpsServer server(settings(ownName()));
    server.playAlways(answer(200, R"({"data":{"type":"accessCache","id":"elsewhere"}})"));
    EXPECT_EQ(
        doctor().of("access cache"),
        "failure  access cache: ROOT/wmc/webserver/temp/access-caches/elsewhere/manifest.json: No such file "
        "or directory\n"
        "         let the service write it again: start ksrbacd, or restart it");
}

} // namespace
} // namespace keepsafe_test
