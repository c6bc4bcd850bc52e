#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "DoctorTest.h"
#include "support/Certificates.h"
#include "support/PrivateDatabase.h"

// ksrbac doctor: what it finds on the host itself.

namespace keepsafe_test {
namespace {

using std::filesystem::perms;

using Doctor = DoctorTest;

/// How the tool names the user who has made the installation root.
std::string owner() { return geteuid() == 0 ? "root" : "user " + std::to_string(geteuid()); }

TEST_F(Doctor, FindsNothingWhereAllIsWell)
{
    const DoctorReport report = doctor();
    EXPECT_EQ(report.summary, "OK: 24 ok");
    EXPECT_EQ(report.errors, "");
    EXPECT_EQ(report.exitStatus, 0);
    const std::string tables = "ok       database tables: those of the queries for tokens and criteria are "
                               "there, with their columns";
    const std::string state =
        "ok       cache state: generation 2, last written now; the service does not call "
        "it outdated, and tells no generation to compare";
    const std::vector<std::string> expected{
        "ok       installation root: ROOT",
        "ok       configuration: ROOT/etc/keepsafe.toml is well-formed; " + owner() + " may write it",
        "ok       enforcement: on; features that are enabled: 1",
        "ok       log destination: ROOT/var/log/keepsafe.log",
        "ok       CA certificates: ksrbac-sandbox authority expires in N d, at TIME",
        "ok       client certificate: ksrbac-sandbox host expires in N d, at TIME",
        "ok       client key: ROOT/etc/tls/host.key belongs to the certificate",
        "ok       token key: ROOT/var/global/tssec/jwtkeys/jwtPublicKey is an RSA key of 2048 bits",
        "ok       database: SQLite, connected in N ms",
        tables,
        "ok       session identifiers: compared byte by byte",
        "ok       master server: ADDRESS answers in N ms: the access cache of | is service",
        "ok       server certificate: ksrbac-sandbox service is for ADDRESS and expires in N d, at TIME",
        "ok       clock: within 1 s of the master server's",
        "ok       published cache: the service does not call the cache outdated",
        "ok       access cache: ROOT/wmc/webserver/temp/access-caches/service",
        "ok       cache lock: free",
        "ok       reader slots: no process has any now",
        "ok       cache structure: files, header and manifest fit each other; it covers |",
        state,
        "ok       operation cache: 20 operations, each with a bit of its own",
        "ok       granted operations: all are known, on 38 objects",
        "ok       disk space: N MiB of M MiB free for ROOT/wmc/webserver/temp",
        "ok       open files: a process started like this one may have N files open",
    };
    EXPECT_EQ(report.lines, expected);
}

TEST_F(Doctor, SkipsWhatTheConfigurationWouldHaveToTell)
{
    writeFile(configFile(), "[features]\nenabled = [1]\nlevel = 3\n");
    const DoctorReport report = doctor();
    EXPECT_EQ(report.of("configuration"),
              "failure  configuration: ROOT/etc/keepsafe.toml:3:1: unknown key \"features.level\"\n"
              "         correct it: until then enforcement counts as on and no request is made");
    EXPECT_EQ(
        report.of("enforcement"),
        "skipped  enforcement: because there is no configuration to read; the libraries take it for on");
    EXPECT_EQ(report.of("master server"),
              "skipped  master server: because there is no configuration to read");
    EXPECT_EQ(report.of("cache state"),
              "ok       cache state: generation 2, last written now; whether the service has the same state "
              "cannot be told: it does not answer");
    EXPECT_EQ(report.summary.rfind("CRITICAL: 1 failure, ", 0), 0U) << report.summary;
    EXPECT_EQ(report.exitStatus, 2);
}

TEST_F(Doctor, WarnsOfAConfigurationThatTheGroupMayWrite)
{
    std::filesystem::permissions(configFile(), perms(0620));
    const DoctorReport report = doctor();
    EXPECT_EQ(report.of("configuration"),
              "warning  configuration: ROOT/etc/keepsafe.toml may be written by group " +
                  std::to_string(getegid()) +
                  ", who could switch enforcement off\n"
                  "         chmod g-w ROOT/etc/keepsafe.toml");
    EXPECT_EQ(report.exitStatus, 1);
    std::filesystem::permissions(configFile(), perms(0606));
    EXPECT_EQ(doctor().of("configuration"),
              "failure  configuration: cannot read ROOT/etc/keepsafe.toml: writable by everybody\n"
              "         chmod o-w ROOT/etc/keepsafe.toml, and see whether it is still what it was");
}

TEST_F(Doctor, WarnsWhereEnforcementIsOff)
{
    reconfigure("enabled = [1]", "enabled = []");
    const DoctorReport report = doctor();
    EXPECT_EQ(report.summary, "WARNING: 1 warning, 23 ok: enforcement: off: every check is allowed");
    EXPECT_EQ(report.of("enforcement"), "warning  enforcement: off: every check is allowed\n"
                                        "         add 1 to features.enabled in ROOT/etc/keepsafe.toml");
    EXPECT_EQ(report.exitStatus, 1);
}

TEST_F(Doctor, NamesAnInstallationRootThatIsNotThere)
{
    const DoctorReport report = reportOf(runProgram({KSRBAC_BINARY, "--root", root_.path("typo"), "doctor"}));
    EXPECT_EQ(report.of("installation root"),
              "failure  installation root: ROOT/typo: No such file or directory\n"
              "         name the root with --root, or install the product there");
    EXPECT_EQ(report.errors, "");
    EXPECT_EQ(report.exitStatus, 2);
}

TEST_F(Doctor, TellsCertificatesThatHaveExpiredOrSoonWill)
{
    const CertificateAuthority authority(root_.path(), "ca");
    CertificateRequest request{"old", "clientAuth", ""};
    request.validToSeconds = -60;
    const CertificateFiles old = authority.issue(request);
    request = {"short", "clientAuth", ""};
    request.validToSeconds = 12 * 86400 + 3600 + 60;
    const CertificateFiles shortly = authority.issue(request);
    const std::string configured = root_.path("etc/tls/host");
    reconfigure(configured + ".pem", old.certificate);
    reconfigure(configured + ".key", old.key);
    EXPECT_EQ(doctor().of("client certificate"), "failure  client certificate: old expired at TIME\n"
                                                 "         renew it, and its key with it: ROOT/old.pem");
    reconfigure(old.certificate, shortly.certificate);
    EXPECT_EQ(doctor().of("client key"),
              "failure  client key: ROOT/old.key is not the key of the certificate in "
              "ROOT/short.pem\n"
              "         put the key there that the certificate was made with");
    reconfigure(root_.path("etc/tls/ca.pem"), authority.file());
    EXPECT_EQ(doctor().of("client certificate"),
              "warning  client certificate: short expires in N d, at TIME\n"
              "         renew it, and its key with it: ROOT/short.pem");
}

TEST_F(Doctor, WarnsOfACertificateThatAnotherAuthorityHasIssued)
{
    const CertificateAuthority other(root_.path(), "other");
    CertificateRequest request{"stranger", "clientAuth", ""};
    request.validToSeconds = 400L * 86400;
    const CertificateFiles stranger = other.issue(request);
    reconfigure(root_.path("etc/tls/host.pem"), stranger.certificate);
    reconfigure(root_.path("etc/tls/host.key"), stranger.key);
    EXPECT_EQ(
        doctor().of("client certificate"),
        "warning  client certificate: stranger does not lead to the authorities in tls.ca: unable to get "
        "local issuer certificate\n"
        "         a server with the same authorities refuses it: put the certificates between them behind "
        "it, into ROOT/stranger.pem");
}

TEST_F(Doctor, WarnsOfAKeyThatOthersMayRead)
{
    std::filesystem::permissions(root_.path("etc/tls/host.key"), perms(0644));
    EXPECT_EQ(
        doctor().of("client key"),
        "warning  client key: ROOT/etc/tls/host.key has the mode 0644: others than its owner may use it\n"
        "         chmod 600 ROOT/etc/tls/host.key; if others had access, renew key and certificate");
    writeFile(root_.path("etc/tls/host.key"), "no key");
    EXPECT_EQ(
        doctor().of("client key"),
        "failure  client key: ROOT/etc/tls/host.key holds no private key in PEM that can be read without "
        "a pass phrase\n"
        "         write the key there without a pass phrase, readable by its owner alone");
}

TEST_F(Doctor, NamesATokenKeyThatIsNone)
{
    const std::string path = root_.path("var/global/tssec/jwtkeys/jwtPublicKey");
    writeFile(path, "no key");
    EXPECT_EQ(doctor()
                  .of("token key")
                  .rfind("failure  token key: ROOT/var/global/tssec/jwtkeys/jwtPublicKey does not "
                         "hold an RSA public key in PEM: ",
                         0),
              0U);
    std::filesystem::remove(path);
    EXPECT_EQ(
        doctor().of("token key"),
        "failure  token key: ROOT/var/global/tssec/jwtkeys/jwtPublicKey is missing: no session token is "
        "accepted\n"
        "         copy the public key of the product's login there");
}

TEST_F(Doctor, ChecksATokenOneByOne)
{
    writeFile(root_.path("good"), root_.issue("17"));
    writeFile(root_.path("bad"), "a.b.c\n");
    const DoctorReport good = doctor({"--session-token-file", root_.path("good")});
    EXPECT_EQ(good.of("token form"), "ok       token form: three parts");
    EXPECT_EQ(good.of("token signature"), "ok       token signature: RS256 by the host's key");
    EXPECT_EQ(good.of("token session"), "ok       token session: the database has it, with the role 17");
    EXPECT_EQ(good.exitStatus, 0);
    const DoctorReport bad = doctor({"--session-token-file", root_.path("bad")});
    EXPECT_EQ(bad.of("token signature"), "failure  token signature: not base64url\n"
                                         "         log in again for another token; see docs/tokens.md");
    EXPECT_EQ(bad.of("token expiry"),
              "skipped  token expiry: because an earlier check of the token was not passed");
    EXPECT_EQ(bad.of("token session"), "skipped  token session: because the token is not valid");
    EXPECT_EQ(bad.exitStatus, 2);
}

TEST_F(Doctor, FindsATokenWhoseSessionTheDatabaseDoesNotHave)
{
    writeFile(root_.path("good"), root_.issue("17"));
    PrivateDatabase database(DatabaseKind::Sqlite);
    database.run("CREATE TABLE AUTH_MAIN.AUTH_Access_Token_Details (SessionTokenValue VARCHAR(100), "
                 "AzTokenValue TEXT)");
    const std::string text = readFile(configFile());
    writeFile(configFile(), text.substr(0, text.find("[database]")) + database.configuration());
    EXPECT_EQ(doctor({"--session-token-file", root_.path("good")}).of("token session"),
              "skipped  token session: because the database cannot be asked");
    database.run("CREATE TABLE AUTH_MAIN.ACTL_CollectionCriteria (CriteriaID INTEGER, CollectionKey INTEGER, "
                 "CriteriaJson TEXT, objectType VARCHAR(100))");
    EXPECT_EQ(doctor({"--session-token-file", root_.path("good")}).of("token session"),
              "failure  token session: the database does not have it: everything is denied to it\n"
              "         log in again for another token; see docs/tokens.md");
}

TEST_F(Doctor, TellsADatabaseThatCannotBeUsed)
{
    const DoctorReport healthy = doctor();
    reconfigure("auth_main.db", "nothing.db");
    const DoctorReport report = doctor();
    EXPECT_EQ(report.of("database").rfind("failure  database: ", 0), 0U) << report.of("database");
    EXPECT_EQ(report.of("database tables"),
              "skipped  database tables: because there is no connection to the database");
    EXPECT_EQ(healthy.exitStatus, 0);
    EXPECT_EQ(report.exitStatus, 2);
}

TEST_F(Doctor, TellsTablesAndCollationsOfTheDatabase)
{
    PrivateDatabase database(DatabaseKind::Sqlite);
    const std::string text = readFile(configFile());
    writeFile(configFile(), text.substr(0, text.find("[database]")) + database.configuration());
    const std::string missing = doctor().of("database tables");
    EXPECT_EQ(missing.rfind("failure  database tables: AUTH_MAIN.AUTH_Access_Token_Details: SQLSTATE ", 0),
              0U)
        << missing;
    EXPECT_NE(missing.find("no such table: AUTH_MAIN.AUTH_Access_Token_Details"), std::string::npos)
        << missing;
    database.run(
        "CREATE TABLE AUTH_MAIN.AUTH_Access_Token_Details (SessionTokenValue VARCHAR(100) COLLATE NOCASE, "
        "AzTokenValue TEXT)");
    database.run("CREATE TABLE AUTH_MAIN.ACTL_CollectionCriteria (CriteriaID INTEGER, CollectionKey INTEGER, "
                 "CriteriaJson TEXT, objectType VARCHAR(100))");
    EXPECT_EQ(doctor().of("session identifiers"),
              "failure  session identifiers: AUTH_MAIN.AUTH_Access_Token_Details.SessionTokenValue takes "
              "different identifiers for the same: a session could get the roles of another\n"
              "         give the column a binary collation; see docs/configuration.md");
}

TEST_F(Doctor, TellsALogThatCannotBeWritten)
{
    reconfigure("/var/log/keepsafe.log", "/nowhere/keepsafe.log");
    EXPECT_EQ(
        doctor().of("log destination"),
        "failure  log destination: ROOT/nowhere/keepsafe.log cannot be written by this user: No such file "
        "or directory\n"
        "         make its folder, and let the users of the product's processes write the file");
}

TEST_F(Doctor, WarnsOfALowLimitOfOpenFiles)
{
    const ProgramResult result = runProgram(
        {"sh", "-c", "ulimit -n 100; exec \"$0\" --root \"$1\" doctor", KSRBAC_BINARY, root_.path()});
    EXPECT_EQ(reportOf(result).of("open files"),
              "warning  open files: a process started like this one may have N files open\n"
              "         raise it to 256 or more: 'ulimit -n', or LimitNOFILE of the unit");
}

TEST_F(Doctor, TellsAnotherUserWhatHeMayNotRead)
{
    const std::string readers = root_.path("wmc/webserver/temp/access-caches/service/manifest.json.readers");
    std::vector<std::string> command{KSRBAC_BINARY, "--root", root_.path(), "doctor", "--cache", "service"};
    if (geteuid() == 0) {
        std::filesystem::permissions(root_.path(), perms(0755));
        const std::vector<std::string> other{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        command.insert(command.begin(), other.begin(), other.end());
    } else { // who cannot become another user takes away what another one would not have
        std::filesystem::permissions(root_.path("etc/keepsafe.toml"), perms::none);
        std::filesystem::permissions(readers, perms(0555));
    }
    const DoctorReport report = reportOf(runProgram(command));
    std::filesystem::permissions(readers, perms(0755));
    EXPECT_EQ(
        report.of("configuration"),
        "unknown  configuration: cannot read ROOT/etc/keepsafe.toml: Permission denied\n"
        "         run the doctor as a user who may read it, such as the one of the product's processes");
    EXPECT_EQ(report.of("reader slots"),
              "ok       reader slots: no process has any now; this "
              "user may not make any and reads by the kernel lock, which is slower");
    EXPECT_EQ(report.of("operation cache"),
              "ok       operation cache: 20 operations, each with a bit of its own");
    EXPECT_EQ(report.summary.rfind("UNKNOWN: 1 unknown, ", 0), 0U) << report.summary;
    EXPECT_EQ(report.exitStatus, 3);
}

TEST_F(Doctor, EndsAsUnknownWhenItIsCalledInTheWrongWay)
{
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--timeout", "0"},
                                               {"--timeout", "x"},
                                               {"--for", "A"},
                                               {"--cache", ".."},
                                               {"--nonsense"},
                                               {"--session-token-file", root_.path("nothing")}}) {
        const DoctorReport report = doctor(arguments);
        EXPECT_EQ(report.summary, "") << arguments.front();
        EXPECT_EQ(report.errors.rfind("ksrbac: ", 0), 0U) << arguments.front();
        EXPECT_EQ(report.exitStatus, 3) << arguments.front();
    }
}

TEST_F(Doctor, PrintsJsonForPrograms)
{
    reconfigure("enabled = [1]", "enabled = []");
    const DoctorReport report = doctor({"--json"});
    EXPECT_EQ(report.summary,
              "{\"status\":\"WARNING\",\"failure\":0,\"warning\":1,\"unknown\":0,\"ok\":23,"
              "\"skipped\":0,\"summary\":\"WARNING: 1 warning, 23 ok: enforcement: off: every check "
              "is allowed\"}");
    EXPECT_EQ(report.lines.at(2),
              "{\"state\":\"warning\",\"check\":\"enforcement\",\"finding\":\"off: every check "
              "is allowed\",\"remedy\":\"add 1 to features.enabled in ROOT/etc/keepsafe.toml\"}");
}

} // namespace
} // namespace keepsafe_test
