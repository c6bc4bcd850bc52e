#include "root/certificates.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/pem.h>

#include "errors/InputError.h"
#include "files/new_file.h"
#include "root/Certificate.h"
#include "sandbox/root/TestRoot.h"
#include "support/Certificates.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::Certificate;
using keepsafe_sandbox::CertificateUse;
using keepsafe_sandbox::ensureCertificates;
using keepsafe_sandbox::EnsuredFile;
using keepsafe_sandbox::PrivateKey;
using keepsafe_sandbox::RootLayout;
using keepsafe_service::InputError;
using testing::StartsWith;
namespace fs = std::filesystem;

class Certificates : public testing::Test {
protected:
    Certificates()
    {
        keepsafe_service::ensureFolder(layout_.tlsFolder(), 0755);
        keepsafe_service::ensureFolder(layout_.serviceTlsFolder(), 0700);
    }

    std::vector<EnsuredFile> ensure(const std::string& service = "127.0.0.1") const
    {
        return ensureCertificates(layout_, service);
    }

    [[nodiscard]] std::string refusal(const std::string& service = "127.0.0.1") const
    {
        return thrownBy<InputError>([&] { ensure(service); }).what();
    }

    [[nodiscard]] static Certificate load(const std::string& path)
    {
        return Certificate::fromPem(readFile(path));
    }

    /// Puts a pair in place of the one that is there.
    static void replace(const std::string& key, const std::string& certificate, const CertificateFiles& files)
    {
        fs::copy_file(files.key, key, fs::copy_options::overwrite_existing);
        fs::permissions(key, fs::perms::owner_read | fs::perms::owner_write);
        fs::copy_file(files.certificate, certificate, fs::copy_options::overwrite_existing);
    }

    TestRoot root_;
    const RootLayout& layout_ = root_.layout;
};

TEST_F(Certificates, OfServerAndHostAreIssuedByTheRootsAuthorityForTheirUse)
{
    ensure();
    const Certificate authority = load(layout_.authorityCertificate());
    EXPECT_EQ(load(layout_.serverCertificate()).faultAs(CertificateUse::Server, authority), "");
    EXPECT_EQ(load(layout_.hostCertificate()).faultAs(CertificateUse::Client, authority), "");
    EXPECT_NE(load(layout_.serverCertificate()).faultAs(CertificateUse::Client, authority), "");
    EXPECT_NE(load(layout_.hostCertificate()).faultAs(CertificateUse::Server, authority), "");
}

TEST_F(Certificates, OfTheServerIsForTheServiceAndForLocalClients)
{
    ensure("master.example");
    const Certificate server = load(layout_.serverCertificate());
    for (const char* address : {"master.example", "localhost", "127.0.0.1"}) {
        EXPECT_TRUE(server.isFor(address)) << address;
    }
    EXPECT_FALSE(server.isFor("other.example"));
    EXPECT_FALSE(server.isFor("127.0.0.2"));
}

TEST_F(Certificates, WithACommonNameAloneAreForNobody)
{
    const PrivateKey key = PrivateKey::generate();
    const Certificate authority = Certificate::issueAuthority("authority", key);
    const Certificate server =
        Certificate::issue({"master.example", CertificateUse::Server, {}}, key, authority, key);
    EXPECT_FALSE(server.isFor("master.example"));
}

TEST_F(Certificates, CanBeForAnAddressOfVersion6)
{
    ensure("::1");
    EXPECT_TRUE(load(layout_.serverCertificate()).isFor("::1"));
}

TEST_F(Certificates, AreKeptWhenTheyAreThere)
{
    const std::vector<EnsuredFile> made = ensure();
    EXPECT_TRUE(std::all_of(made.begin(), made.end(), [](const EnsuredFile& file) { return file.isMade; }));
    const std::string before = readFile(layout_.serverCertificate());

    const std::vector<EnsuredFile> kept = ensure();

    EXPECT_EQ(kept.size(), 6U);
    EXPECT_TRUE(std::none_of(kept.begin(), kept.end(), [](const EnsuredFile& file) { return file.isMade; }));
    EXPECT_EQ(readFile(layout_.serverCertificate()), before);
}

TEST_F(Certificates, AreMadeAnewForTheKeysThatAreThere)
{
    ensure();
    const std::string key = readFile(layout_.serverKey());
    fs::remove(layout_.serverCertificate());
    fs::remove(layout_.authorityCertificate());

    ensure();

    EXPECT_EQ(readFile(layout_.serverKey()), key);
    const Certificate authority = load(layout_.authorityCertificate());
    EXPECT_EQ(load(layout_.serverCertificate()).faultAs(CertificateUse::Server, authority), "");
    EXPECT_EQ(load(layout_.hostCertificate()).faultAs(CertificateUse::Client, authority), "");
}

TEST_F(Certificates, WithoutTheirKeysAreRefused)
{
    ensure();
    fs::remove(layout_.hostKey());
    EXPECT_EQ(refusal(), layout_.hostCertificate() +
                             " is there, but not the private key that belongs to it, " + layout_.hostKey() +
                             ": move the certificate away, or bring the private key back");
    EXPECT_FALSE(fs::exists(layout_.hostKey()));
}

TEST_F(Certificates, OfOtherKeysAreRefused)
{
    ensure();
    fs::copy_file(layout_.hostKey(), layout_.serverKey(), fs::copy_options::overwrite_existing);
    EXPECT_EQ(refusal(), layout_.serverCertificate() + " does not belong to the private key " +
                             layout_.serverKey() + ": move the one away that is wrong");
}

TEST_F(Certificates, OfAnotherAuthorityAreRefused)
{
    ensure();
    const CertificateAuthority other(root_.folder.path(), "other");
    replace(layout_.hostKey(), layout_.hostCertificate(), other.issueForClient("foreign"));
    EXPECT_THAT(refusal(), StartsWith(layout_.hostCertificate() + " cannot be used ("));
}

class ForeignRoot : public Certificates {
protected:
    /// The root with a server's certificate of another make, by the root's authority.
    std::string refusalOf(const Certificate& server, const PrivateKey& key)
    {
        fs::remove(layout_.serverKey());
        fs::remove(layout_.serverCertificate());
        keepsafe_service::createFile(layout_.serverKey(), keepsafe_service::OWNER_ONLY, key.pem());
        writeFile(layout_.serverCertificate(), server.pem());
        return refusal();
    }
};

TEST_F(ForeignRoot, ServersCertificateForAnotherUseIsRefused)
{
    ensure();
    const PrivateKey key = PrivateKey::generate();
    const Certificate client = Certificate::issue({"client", CertificateUse::Client, {"IP:127.0.0.1"}}, key,
                                                  load(layout_.authorityCertificate()),
                                                  PrivateKey::fromPem(readFile(layout_.authorityKey())));
    EXPECT_EQ(refusalOf(client, key),
              layout_.serverCertificate() +
                  " cannot be used (unsuitable certificate purpose): move it away, and init makes another");
}

TEST_F(ForeignRoot, AuthorityThatIssuesNothingIsRefused)
{
    const CertificateAuthority own(root_.folder.path(), "own");
    replace(layout_.authorityKey(), layout_.authorityCertificate(), own.issueForClient("client"));
    EXPECT_EQ(refusal(), layout_.authorityCertificate() +
                             " cannot be used (not a certificate that issues others): move it away, and init "
                             "makes another");
}

TEST_F(Certificates, WhoseTimeIsOverAreRefusedByName)
{
    ensure();
    const PrivateKey authorityKey = PrivateKey::fromPem(readFile(layout_.authorityKey()));
    const std::unique_ptr<BIO, int (*)(BIO*)> file(BIO_new_file(layout_.hostCertificate().c_str(), "r+"),
                                                   BIO_free);
    const std::unique_ptr<X509, void (*)(X509*)> host(
        PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr), X509_free);
    X509_gmtime_adj(X509_getm_notAfter(host.get()), -60);
    ASSERT_NE(X509_sign(host.get(), authorityKey.get(), EVP_sha256()), 0);
    ASSERT_EQ(BIO_reset(file.get()), 0);
    ASSERT_EQ(PEM_write_bio_X509(file.get(), host.get()), 1);
    ASSERT_EQ(BIO_flush(file.get()), 1);

    EXPECT_EQ(refusal(),
              layout_.hostCertificate() +
                  " cannot be used (certificate has expired): move it away, and init makes another");
}

TEST_F(Certificates, ForAnotherServiceAreRefused)
{
    ensure("127.0.0.1");
    EXPECT_EQ(refusal("127.0.0.2"),
              layout_.serverCertificate() +
                  " is not for the service's address, 127.0.0.2: move it away, and init "
                  "makes another");
}

TEST_F(Certificates, WhoseKeysOthersMayReadAreRefused)
{
    ensure();
    fs::permissions(layout_.hostKey(), fs::perms::group_read, fs::perm_options::add);
    EXPECT_EQ(refusal(), layout_.hostKey() +
                             ": others than its owner may read or write this private key; take "
                             "that from them (chmod 600)");
}

TEST_F(Certificates, ThatAreNoPemAreRefusedByName)
{
    ensure();
    writeFile(layout_.hostCertificate(), "none");
    EXPECT_THAT(refusal(), StartsWith(layout_.hostCertificate() + ": no certificate in PEM form: "));
}

TEST_F(Certificates, WhoseKeysHaveAPassPhraseAreRefusedAndNobodyIsAskedForIt)
{
    ensure();
    const std::string plain = root_.folder.path("plain.key");
    fs::rename(layout_.hostKey(), plain);
    encryptKey(plain, layout_.hostKey(), "secret");
    EXPECT_THAT(refusal(),
                StartsWith(layout_.hostKey() + ": no private key in PEM form without a pass phrase"));
}

} // namespace
} // namespace keepsafe_test
