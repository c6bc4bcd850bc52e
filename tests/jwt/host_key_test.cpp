#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <sys/stat.h>
#include <unistd.h>

#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/jwt/JWTUtil.h>

#include "jwt/HostKeyRoot.h"
#include "jwt/ManyPrimesKey.h"
#include "jwt/expected_lines.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::JWTSSLApi;
using Tessara::Keepsafe::JWTUtil;
using testing::ElementsAre;
using testing::ElementsAreArray;

const lines::Lines NOT_OPENED{lines::error(
    lines::LOAD_KEY_TAG, "failed to open jwt public key file. Error = basic_ios::clear: iostream error ")};
const LogLine NOT_LOADED = lines::error(lines::HOST_KEY_TAG, "Failed to load jwt public key");
const LogLine EMPTY = lines::error(lines::HOST_KEY_TAG, "Failed to retrieve public key from the host.");

std::string token() { return hostSigner().sign(R"({"sub":"alice"})"); }

class HostKeyTest : public testing::Test {
protected:
    ~HostKeyTest() override { EXPECT_EQ(ERR_peek_error(), 0U) << "the error queue is empty"; }

    HostKeyRoot root_;
    CapturedLog log_;
};

TEST_F(HostKeyTest, TheWholeFileIsRead)
{
    const std::string content =
        "\n the host's key:\n" + hostSigner().publicKeyPem() + std::string("\0 \n", 3);
    writeFile(root_.keyFile(), content);
    std::string key = "as it was";
    EXPECT_EQ(JWTUtil::loadJwtPublicKey(key), 0);
    EXPECT_EQ(key, content);
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_FILE_OPENED, lines::KEY_FILE_READ));
}

TEST_F(HostKeyTest, AFileOfAnyLengthIsReadToItsEnd)
{
    for (const std::size_t size : {1U, 4095U, 4096U, 4097U, 8191U, 8192U, 8193U, 65536U}) {
        std::string content(size, 'x');
        content.back() = 'y';
        writeFile(root_.keyFile(), content);
        std::string key;
        EXPECT_EQ(JWTUtil::loadJwtPublicKey(key), 0) << size;
        EXPECT_EQ(key, content) << size;
    }
}

TEST_F(HostKeyTest, AFifoInItsPlaceIsStatus12WithoutWaitingForItsOtherEnd)
{
    std::filesystem::remove(root_.keyFile());
    ASSERT_EQ(mkfifo(root_.keyFile().c_str(), 0600), 0);
    std::string key = "as it was";
    EXPECT_EQ(JWTUtil::loadJwtPublicKey(key), 12);
    EXPECT_EQ(key, "as it was");
    EXPECT_THAT(log_.lines(),
                ElementsAre(lines::error(lines::LOAD_KEY_TAG,
                                         "failed to open jwt public key file. Error = not a regular file ")));
}

TEST_F(HostKeyTest, AFileThatEverybodyMayWriteIsStatus12)
{
    std::filesystem::permissions(root_.keyFile(), std::filesystem::perms(0666));
    std::string key = "as it was";
    EXPECT_EQ(JWTUtil::loadJwtPublicKey(key), 12);
    EXPECT_EQ(key, "as it was");
    EXPECT_THAT(log_.lines(), ElementsAre(lines::error(
                                  lines::LOAD_KEY_TAG,
                                  "failed to open jwt public key file. Error = writable by everybody ")));
}

TEST_F(HostKeyTest, AFileThatIsTooLongForAKeyIsStatus13)
{
    std::filesystem::resize_file(root_.keyFile(), 1024UL * 1024 * 1024);
    std::string key;
    EXPECT_EQ(JWTUtil::loadJwtPublicKey(key), 13);
    EXPECT_EQ(key.substr(0, 10), "-----BEGIN") << "what was read";
    EXPECT_LT(key.size(), 17UL * 1024 * 1024);
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_FILE_OPENED,
                                          lines::error(lines::LOAD_KEY_TAG,
                                                       "failed to read jwt public key file. Error = the "
                                                       "file is too long: iostream error ")));
}

std::size_t openDescriptors()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

TEST_F(HostKeyTest, NoDescriptorStaysOpen)
{
    const std::size_t before = openDescriptors();
    std::string key;
    EXPECT_EQ(JWTUtil::loadJwtPublicKey(key), 0);
    std::filesystem::remove(root_.keyFile());
    EXPECT_EQ(JWTUtil::loadJwtPublicKey(key), 12);
    std::filesystem::create_directory(root_.keyFile());
    EXPECT_EQ(JWTUtil::loadJwtPublicKey(key), 13);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(HostKeyTest, ATokenOfTheHostVerifies)
{
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    EXPECT_THAT(log_.lines(), ElementsAreArray(lines::verified()));
}

TEST_F(HostKeyTest, ATokenOfAStrangerDoesNotVerify)
{
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(strangerSigner().sign("{}")));
    EXPECT_THAT(log_.lines(), ElementsAreArray(lines::wrongSignature()));
}

TEST_F(HostKeyTest, AMissingFileIsStatus12)
{
    std::filesystem::remove(root_.keyFile());
    std::string key;
    EXPECT_EQ(JWTUtil::loadJwtPublicKey(key), 12);
    EXPECT_THAT(log_.lines(), ElementsAreArray(NOT_OPENED));
}

TEST_F(HostKeyTest, AMissingFileVerifiesNothing)
{
    std::filesystem::remove_all(root_.path("var"));
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    EXPECT_THAT(log_.lines(), ElementsAre(NOT_OPENED[0], NOT_LOADED));
}

TEST_F(HostKeyTest, AnEmptyFileIsAnEmptyKey)
{
    writeFile(root_.keyFile(), "");
    std::string key = "as it was";
    EXPECT_EQ(JWTUtil::loadJwtPublicKey(key), 0);
    EXPECT_EQ(key, "");
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_FILE_OPENED, lines::KEY_FILE_READ));
}

TEST_F(HostKeyTest, AnEmptyFileVerifiesNothing)
{
    writeFile(root_.keyFile(), "");
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_FILE_OPENED, lines::KEY_FILE_READ, EMPTY));
}

TEST_F(HostKeyTest, AFolderInItsPlaceIsStatus13)
{
    std::filesystem::remove(root_.keyFile());
    std::filesystem::create_directory(root_.keyFile());
    const auto notRead =
        lines::error(lines::LOAD_KEY_TAG, "failed to read jwt public key file. Error = basic_filebuf::xsgetn "
                                          "error reading the file: Is a directory ");
    std::string key = "as it was";
    EXPECT_EQ(JWTUtil::loadJwtPublicKey(key), 13);
    EXPECT_EQ(key, "") << "what could be read";
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_FILE_OPENED, notRead));
    log_.clear();
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_FILE_OPENED, notRead, NOT_LOADED));
}

/// Ends a child process: with 0 when verification says what it does for a file that cannot be opened.
[[noreturn]] void verifyAsOrdinaryUser(const std::string& signedToken)
{
    constexpr uid_t NOBODY = 65534;
    if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(NOBODY) != 0 || setuid(NOBODY) != 0)) {
        std::cerr << "cannot become an ordinary user\n";
        std::_Exit(2);
    }
    const CapturedLog log;
    const bool verified = JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(signedToken);
    for (const auto& line : log.lines()) {
        std::cerr << line << '\n';
    }
    const bool asExpected = !verified && log.lines() == lines::Lines{NOT_OPENED[0], NOT_LOADED};
    std::_Exit(asExpected ? 0 : 1);
}

TEST_F(HostKeyTest, AFileThatTheUserMayNotReadVerifiesNothing)
{
    using std::filesystem::perms;
    for (const char* folder : {"", "var", "var/global", "var/global/tssec", "var/global/tssec/jwtkeys"}) {
        std::filesystem::permissions(root_.path(folder),
                                     perms::owner_all | perms::others_read | perms::others_exec);
    }
    std::filesystem::permissions(root_.keyFile(), perms::none);
    const std::string signedToken = token();
    EXPECT_EXIT(verifyAsOrdinaryUser(signedToken), testing::ExitedWithCode(0), "failed to open");
}

TEST_F(HostKeyTest, AnOlderBlockIsNotRead)
{
    writeFile(root_.keyFile(), asPkcs1(hostSigner().publicKeyPem()));
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    EXPECT_THAT(log_.lines(),
                ElementsAreArray(lines::notVerified({lines::KEY_NOT_READ, lines::KEY_UNUSABLE})));
}

TEST_F(HostKeyTest, AKeyOnACurveIsNotRead)
{
    writeFile(root_.keyFile(), ellipticCurveKeyPem());
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    EXPECT_THAT(log_.lines(),
                ElementsAreArray(lines::notVerified({lines::KEY_NOT_READ, lines::KEY_UNUSABLE})));
}

TEST_F(HostKeyTest, OfSeveralBlocksTheFirstPublicKeyVerifies)
{
    const std::string own = hostSigner().publicKeyPem();
    const std::string other = strangerSigner().publicKeyPem();
    writeFile(root_.keyFile(), asPkcs1(other) + own + other);
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(strangerSigner().sign("{}")));
}

TEST_F(HostKeyTest, AFileOfTenMebibytesIsReadToItsEnd)
{
    constexpr std::size_t TEN_MEBIBYTES = std::size_t{10} * 1024 * 1024;
    const std::string key = hostSigner().publicKeyPem();
    std::string content;
    while (content.size() + key.size() < TEN_MEBIBYTES) {
        content += "# this is not the key yet, it comes at the very end\n";
    }
    writeFile(root_.keyFile(), content + key);
    std::string read;
    EXPECT_EQ(JWTUtil::loadJwtPublicKey(read), 0);
    EXPECT_TRUE(read == content + key);
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
}

TEST_F(HostKeyTest, AFileOfTenMebibytesWithoutAKeyIsNotRead)
{
    writeFile(root_.keyFile(), std::string(std::size_t{10} * 1024 * 1024, 'A'));
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    EXPECT_THAT(log_.lines(),
                ElementsAreArray(lines::notVerified({lines::KEY_NOT_READ, lines::KEY_UNUSABLE})));
}

TEST_F(HostKeyTest, AKeyReplacedOnDiskTakesEffectWithTheNextCall)
{
    ASSERT_TRUE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    root_.replaceKey(strangerSigner().publicKeyPem());
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(strangerSigner().sign("{}")));
    root_.replaceKey(hostSigner().publicKeyPem());
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
}

TEST_F(HostKeyTest, AHostKeyOf512BitsVerifiesItsOwnTokens)
{
    const TokenSigner small = TokenSigner::generate(512);
    root_.replaceKey(small.publicKeyPem());
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(small.sign("{}")));
    log_.clear();
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    EXPECT_THAT(log_.lines(), ElementsAreArray(lines::wrongSignature()));
}

TEST_F(HostKeyTest, AHostKeyOf16384BitsVerifiesItsOwnTokens)
{
    const ManyPrimesKey large(16384);
    root_.replaceKey(large.publicKeyPem());
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(large.sign("{}")));
    log_.clear();
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token()));
    EXPECT_THAT(log_.lines(), ElementsAreArray(lines::wrongSignature()));
}

} // namespace
} // namespace keepsafe_test
