// The listener's certificates and those of its clients.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "errors/InputError.h"
#include "service/server/ListenerTest.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::HttpsListener;
using keepsafe_service::InputError;
using keepsafe_service::ServerTlsFiles;
using testing::EndsWith;
using testing::StartsWith;

TEST_F(Listener, KnowsItsClientsByTheirSubjects)
{
    const std::string who = "GET /client HTTP/1.1\r\nHost: x\r\n\r\n";
    TlsConnection host = connect();
    TlsConnection other = connect(authority_.issueForClient("it's \"ä\", Ltd"));
    for (int request = 0; request < 2; ++request) {
        host.send(who);
        other.send(who);
        EXPECT_THAT(host.response(), EndsWith("\r\n\r\nCN=host"));
        EXPECT_THAT(other.response(), EndsWith("\r\n\r\nCN=it's \\\"ä\\\"\\, Ltd"));
    }
}

TEST_F(Listener, ResumesTlsSessions)
{
    TlsConnection first = connect();
    first.send(GET);
    (void)first.response();
    TlsConnection second(address_.host, address_.port, authority_.file(), client_, 0, first.session());
    second.send(GET);
    EXPECT_THAT(second.response(), StartsWith("HTTP/1.1 200 OK\r\n"));
    second.send("GET /client HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_THAT(second.response(), EndsWith("\r\n\r\nCN=host")) << "as shown by the first one";
    EXPECT_TRUE(second.isResumed());
}

TEST_F(Listener, RefusesAClientWithoutACertificateOrWithAForeignOne)
{
    const CertificateAuthority foreign(folder_.path(), "foreign");
    EXPECT_EQ(connect({}).tryExchange(GET), "");
    EXPECT_EQ(connect(foreign.issueForClient("other")).tryExchange(GET), "");
    EXPECT_EQ(connect(server_).tryExchange(GET), "") << "a server's certificate is none for clients";
    EXPECT_EQ(connect(authority_.issue({"old", "clientAuth", "", -7200, -3600})).tryExchange(GET), "");
    EXPECT_TRUE(requests().empty());
}

TEST_F(Listener, SpeaksTls12ButNotOlder)
{
    EXPECT_EQ(connect(client_, TLS1_1_VERSION).tryExchange(GET), "");
    EXPECT_THAT(connect(client_, TLS1_2_VERSION).tryExchange(GET), StartsWith("HTTP/1.1 200 "));
    EXPECT_EQ(requests().size(), 1U);
}

TEST_F(Listener, NamesAFileThatCannotBeUsed)
{
    const std::string none = folder_.path("none");
    for (const ServerTlsFiles& files : {ServerTlsFiles{none, server_.key, authority_.file()},
                                        ServerTlsFiles{server_.certificate, none, authority_.file()},
                                        ServerTlsFiles{server_.certificate, server_.key, none}}) {
        EXPECT_THAT(thrownBy<InputError>([&] { HttpsListener(address_, files, answerer()); }).what(),
                    StartsWith(none + " cannot be used as "));
    }
}

TEST_F(Listener, RefusesAFifoInTheFilesPlacesWithoutWaiting)
{
    const std::string fifo = folder_.path("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const ServerTlsFiles& files : {ServerTlsFiles{fifo, server_.key, authority_.file()},
                                        ServerTlsFiles{server_.certificate, fifo, authority_.file()},
                                        ServerTlsFiles{server_.certificate, server_.key, fifo}}) {
        const std::string refusal =
            thrownBy<InputError>([&] { HttpsListener(address_, files, answerer()); }).what();
        EXPECT_THAT(refusal, StartsWith(fifo + " cannot be used as "));
        EXPECT_THAT(refusal, EndsWith(": not a regular file"));
    }
}

TEST_F(Listener, RefusesAKeyThatEverybodyMayWrite)
{
    ASSERT_EQ(::chmod(server_.key.c_str(), 0666), 0);
    EXPECT_EQ(thrownBy<InputError>([&] { HttpsListener(address_, files_, answerer()); }).what(),
              server_.key + " cannot be used as the server's private key: writable by everybody");
}

TEST_F(Listener, RefusesAnAuthorityWithoutACertificateAndAKeyWithAPassPhrase)
{
    const std::string encrypted = folder_.path("encrypted.key");
    encryptKey(server_.key, encrypted, "secret");
    for (const ServerTlsFiles& files : {ServerTlsFiles{server_.certificate, server_.key, server_.key},
                                        ServerTlsFiles{server_.certificate, encrypted, authority_.file()},
                                        ServerTlsFiles{server_.key, server_.key, authority_.file()}}) {
        EXPECT_THROW(HttpsListener(address_, files, answerer()), InputError);
    }
}

} // namespace
} // namespace keepsafe_test
