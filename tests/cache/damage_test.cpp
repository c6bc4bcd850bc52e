// Damaged caches: whatever the files hold, a check answers or throws EC_exception 12 (or fails to open), in
// bounded time and without touching memory outside the mappings. The sanitizer builds watch the latter.

#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include "support/CacheWriter.h"
#include "support/CapturedLog.h"
#include "support/DamagedFiles.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

const std::vector<std::string> BINARY_FILES{"metadata", "objects", "nodes", "segments"};

struct Question {
    ObjectNamespace object;
    int role;
    int bit;
};

/// What became of one question.
enum class Outcome { Allowed, Denied, Damaged, NotOpened };

class DamageTest : public testing::Test {
protected:
    DamageTest()
    {
        AccessModel model;
        model.objects[ObjectNamespace()] = {true, {}, {{1, {0}}}};
        model.objects[ObjectNamespace("KEEPSAFE")] = {true, {{2, {5}}, {3, {40}}}, {{2, {5, 70}}}};
        model.objects[ObjectNamespace("KEEPSAFE", "pool")] = {false, {{-4, {1, 33}}}, {{17, {6}}}};
        model.objects[ObjectNamespace("KEEPSAFE", "policy|1")] = {true, {{17, {7}}}, {}};
        CacheWriter(model, {}).write(directory_, "|KEEPSAFE|");
        for (const std::string& name : BINARY_FILES) {
            original_[name] = readFile(file(name));
        }
        original_["manifest.json"] = readFile(file("manifest.json"));
        for (const auto& ns :
             {ObjectNamespace(), ObjectNamespace("KEEPSAFE"), ObjectNamespace("KEEPSAFE", "pool"),
              ObjectNamespace("KEEPSAFE", "pool", "disk"), ObjectNamespace("KEEPSAFE", "policy|1"),
              ObjectNamespace("KEEPSAFE", "none")}) {
            for (const auto& [role, bit] : std::vector<std::pair<int, int>>{
                     {1, 0}, {2, 5}, {2, 70}, {3, 40}, {-4, 33}, {17, 6}, {17, 7}, {5, 5}}) {
                questions_.push_back({ns, role, bit});
                expected_.push_back(model.isAllowed({role}, bit, ns) ? Outcome::Allowed : Outcome::Denied);
            }
        }
        testing::internal::CaptureStderr(); // files that do not open are told there
    }
    ~DamageTest() override { testing::internal::GetCapturedStderr(); }

    [[nodiscard]] std::string file(const std::string& name) const { return directory_ + '/' + name; }
    void restore(const std::string& name) { writeFile(file(name), original_.at(name)); }

    std::vector<Outcome> askAll()
    {
        boost::shared_ptr<const AccessCache> cache;
        try {
            cache = boost::make_shared<const AccessCache>(Manifest("id", directory_));
        } catch (const EC_exception& failure) {
            EXPECT_TRUE(failure.status() == 12 || failure.status() == 7610) << failure.status();
            return std::vector<Outcome>(questions_.size(), Outcome::NotOpened);
        } catch (const std::runtime_error&) {
            return std::vector<Outcome>(questions_.size(), Outcome::NotOpened);
        }
        std::vector<Outcome> outcomes;
        for (const Question& question : questions_) {
            outcomes.push_back(ask(cache, question));
        }
        return outcomes;
    }

    static Outcome ask(const boost::shared_ptr<const AccessCache>& cache, const Question& question)
    {
        try {
            const DiskAccessChecker checker(cache, {question.role}, Operation{question.bit}, 0);
            return checker.checkAccess(question.object) ? Outcome::Allowed : Outcome::Denied;
        } catch (const EC_exception& failure) {
            EXPECT_EQ(failure.status(), 12);
            return Outcome::Damaged;
        }
    }

    CapturedLog log_{1000}; // the messages are asserted elsewhere
    TempDir dir_;
    std::string directory_ = dir_.path("cache");
    std::map<std::string, std::string> original_;
    std::vector<Question> questions_;
    std::vector<Outcome> expected_;
};

TEST_F(DamageTest, TheUndamagedCacheAnswersRight) { EXPECT_EQ(askAll(), expected_); }

TEST_F(DamageTest, AFileCutAnywhereNeverGrantsMore)
{
    for (const std::string& name : BINARY_FILES) {
        for (std::size_t length = 0; length < original_[name].size(); ++length) {
            writeFile(file(name), original_[name].substr(0, length));
            const std::vector<Outcome> outcomes = askAll();
            for (std::size_t i = 0; i < outcomes.size(); ++i) {
                // What is left of a cut file is what it was: an answer that comes out is the right one.
                EXPECT_TRUE(outcomes[i] == expected_[i] || outcomes[i] == Outcome::Damaged)
                    << name << " cut at " << length << ": " << questions_[i].object;
            }
        }
        restore(name);
    }
}

TEST_F(DamageTest, AManifestCutAnywhereIsRefusedUnlessOnlyWhiteSpaceIsGone)
{
    const std::string whole = original_["manifest.json"];
    for (std::size_t length = 0; length + 2 < whole.size(); ++length) {
        writeFile(file("manifest.json"), whole.substr(0, length));
        EXPECT_EQ(askAll().front(), Outcome::NotOpened) << length;
    }
}

TEST_F(DamageTest, AFlippedByteInAnyPlaceIsAnAnswerOrStatus12)
{
    for (const std::string& name : BINARY_FILES) {
        for (std::size_t position = 0; position < original_[name].size(); ++position) {
            std::string damaged = original_[name];
            damaged[position] = static_cast<char>(~damaged[position]);
            writeFile(file(name), damaged);
            for (const Outcome outcome : askAll()) {
                EXPECT_NE(outcome, Outcome::NotOpened) << name << " flipped at " << position;
            }
        }
        restore(name);
    }
}

TEST_F(DamageTest, AFlippedManifestByteOpensTheSameCacheOrNone)
{
    for (std::size_t position = 0; position < original_["manifest.json"].size(); ++position) {
        for (const char bit : {'\x01', '\x20', '\x80'}) {
            std::string damaged = original_["manifest.json"];
            damaged[position] = static_cast<char>(damaged[position] ^ bit);
            writeFile(file("manifest.json"), damaged);
            const std::vector<Outcome> outcomes = askAll();
            EXPECT_TRUE(outcomes == expected_ || outcomes.front() == Outcome::NotOpened) << position;
        }
    }
}

TEST_F(DamageTest, AFlippedPermissionWordChangesOnlyItsOwnBits)
{
    // The word of role 2's own bits on |KEEPSAFE| holds bit 5 alone; bit 6 joins it.
    std::string nodes = original_["nodes"];
    constexpr std::size_t NODE_SIZE = 24;
    constexpr std::size_t VALUE = 20;
    std::size_t changed = 0;
    for (std::size_t record = NODE_SIZE; record < nodes.size(); record += NODE_SIZE) {
        std::uint32_t value = 0;
        std::memcpy(&value, nodes.data() + record + VALUE, sizeof value);
        std::int32_t key = 0;
        std::memcpy(&key, nodes.data() + record + VALUE - 4, sizeof key);
        if (key == 1 && value == std::uint32_t{1} << 8U) { // word 1, bit 8: operation 40, granted to role 3
            value |= std::uint32_t{1} << 9U;
            std::memcpy(nodes.data() + record + VALUE, &value, sizeof value);
            ++changed;
        }
    }
    ASSERT_EQ(changed, 1U);
    writeFile(file("nodes"), nodes);
    EXPECT_EQ(askAll(), expected_);
    const auto cache = boost::make_shared<const AccessCache>(Manifest("id", directory_));
    EXPECT_EQ(ask(cache, {ObjectNamespace("KEEPSAFE"), 3, 41}), Outcome::Allowed);
    EXPECT_EQ(ask(cache, {ObjectNamespace("KEEPSAFE"), 2, 41}), Outcome::Denied);
    EXPECT_EQ(ask(cache, {ObjectNamespace("KEEPSAFE", "pool"), 3, 41}), Outcome::Denied);
}

TEST_F(DamageTest, RandomDamageIsAnAnswerOrStatus12)
{
    std::mt19937 random(20260102);
    DamagedFiles files(directory_);
    files.keep();
    // KEEPSAFE_TEST_MUTATIONS=1000000 gives the long run.
    for (long round = 0, most = DamagedFiles::roundsWanted(10000); round < most; ++round) {
        files.damage();
        const auto cache = boost::make_shared<const AccessCache>(Manifest("id", directory_));
        for (int i = 0; i < 4; ++i) {
            ask(cache, questions_[random() % questions_.size()]);
        }
        files.restore();
    }
}

TEST_F(DamageTest, AFolderInPlaceOfAFileIsRefused)
{
    for (const std::string& name : BINARY_FILES) {
        std::filesystem::remove(file(name));
        std::filesystem::create_directory(file(name));
        EXPECT_EQ(askAll().front(), Outcome::NotOpened) << name;
        std::filesystem::remove(file(name));
        restore(name);
    }
}

TEST_F(DamageTest, ASparseFileOfManyGigabytesIsMappedWithoutBeingRead)
{
    std::filesystem::resize_file(file("nodes"), std::uintmax_t{6} << 30U);
    EXPECT_EQ(askAll(), expected_);
}

} // namespace
} // namespace keepsafe_test
