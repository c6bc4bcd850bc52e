#include <filesystem>
#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "errors/InputError.h"
#include "root/signing_keys.h"
#include "sandbox/root/TestRoot.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::ensureSigningKeys;
using keepsafe_sandbox::loadSigner;
using keepsafe_sandbox::TokenSigner;
using keepsafe_service::InputError;
namespace fs = std::filesystem;

class SigningKeys : public testing::Test {
protected:
    SigningKeys()
    {
        fs::create_directories(fs::path(privateKey()).parent_path());
        fs::create_directories(fs::path(publicKey()).parent_path());
    }

    [[nodiscard]] std::string privateKey() const { return root_.layout.privateKey(); }
    [[nodiscard]] std::string publicKey() const { return root_.layout.publicKey(); }

    /// What is said about files that cannot be a key pair. They stay as they are.
    [[nodiscard]] std::string refusal() const
    {
        const auto content = [](const std::string& path) {
            return fs::exists(path) ? readFile(path) : std::string("none");
        };
        const std::string before = content(privateKey()) + content(publicKey());
        const auto error = thrownBy<InputError>([this] { ensureSigningKeys(root_.layout); });
        EXPECT_EQ(content(privateKey()) + content(publicKey()), before);
        return error.what();
    }

    /// Which of the two keys are missing, and made.
    [[nodiscard]] std::string whatIsMade() const
    {
        std::string made;
        for (const auto& file : ensureSigningKeys(root_.layout)) {
            made += !file.isMade ? "" : file.path == privateKey() ? "private " : "public ";
        }
        return made;
    }

    void writePrivateKey(const std::string& pem) const
    {
        writeFile(privateKey(), pem);
        ::chmod(privateKey().c_str(), 0600);
    }

    TestRoot root_;
};

TEST_F(SigningKeys, AreMadeOnceAndKept)
{
    EXPECT_EQ(whatIsMade(), "private public ");
    const std::string made = readFile(privateKey());
    EXPECT_EQ(whatIsMade(), "");
    EXPECT_EQ(readFile(privateKey()), made);
}

TEST_F(SigningKeys, BelongToEachOtherAndAreLongEnough)
{
    ensureSigningKeys(root_.layout);

    const TokenSigner signer = loadSigner(root_.layout);
    EXPECT_GE(signer.keyBits(), 2048U);
    EXPECT_EQ(readFile(publicKey()), signer.publicKeyPem());
}

TEST_F(SigningKeys, ThePrivateOneIsForItsOwnerAlone)
{
    ensureSigningKeys(root_.layout);

    struct stat status = {};
    ASSERT_EQ(::stat(privateKey().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(SigningKeys, ThePublicOneIsMadeAgainFromThePrivateOne)
{
    ensureSigningKeys(root_.layout);
    const std::string before = readFile(publicKey());
    fs::remove(publicKey());

    EXPECT_EQ(whatIsMade(), "public ");
    EXPECT_EQ(readFile(publicKey()), before);
}

TEST_F(SigningKeys, APublicKeyAloneIsNotReplaced)
{
    writeFile(publicKey(), "of somebody else");
    EXPECT_EQ(refusal(), publicKey() + " is there, but not the private key that belongs to it, " +
                             privateKey() + ": move the public key away, or bring the private key back");
}

TEST_F(SigningKeys, KeysThatDoNotBelongTogetherAreRefused)
{
    ensureSigningKeys(root_.layout);
    writeFile(publicKey(), TokenSigner::generate().publicKeyPem());
    EXPECT_EQ(refusal(), publicKey() + " does not belong to the private key " + privateKey() +
                             ": move the one away that is wrong");
}

TEST_F(SigningKeys, APrivateKeyThatOthersMayReadIsRefused)
{
    ensureSigningKeys(root_.layout);
    ::chmod(privateKey().c_str(), 0640);
    EXPECT_EQ(refusal(), privateKey() + ": others than its owner may read or write this private key; take "
                                        "that from them (chmod 600)");
    EXPECT_THROW((void)loadSigner(root_.layout), InputError);
}

TEST_F(SigningKeys, AShortKeyIsRefused)
{
    writePrivateKey(TokenSigner::generate(1024).privateKeyPem());
    EXPECT_EQ(refusal(), privateKey() + ": a key of 1024 bits is too short; 2048 are needed");
}

TEST_F(SigningKeys, AFileThatIsNoKeyIsRefused)
{
    writePrivateKey("no key");
    EXPECT_EQ(refusal().rfind(privateKey() + ": not a private key in PEM form: ", 0), 0U) << refusal();
}

TEST_F(SigningKeys, AMissingOneIsToldWithWhatMakesIt)
{
    EXPECT_EQ(thrownBy<InputError>([this] { (void)loadSigner(root_.layout); }).what(),
              privateKey() + " is missing: run 'ksrbac-sandbox init --root " + root_.layout.root() +
                  "' first");
}

} // namespace
} // namespace keepsafe_test
