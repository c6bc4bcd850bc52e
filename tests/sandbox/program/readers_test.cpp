#include <atomic>
#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <keepsafe/cache/AccessCache.h>

#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"

/// Compiling over a cache that other processes are reading all the time.

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

constexpr unsigned READERS = 3;

/// What the readers tell, in memory that all processes share.
struct Findings {
    std::atomic<bool> stop{false};
    std::atomic<unsigned> first{0};   ///< whole answers of the first policy
    std::atomic<unsigned> second{0};  ///< whole answers of the second policy
    std::atomic<unsigned> refused{0}; ///< status 12
    std::atomic<unsigned> mixed{0};   ///< anything else
};

class SharedFindings {
public:
    SharedFindings()
        : findings_(new (::mmap(nullptr, sizeof(Findings), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                                -1, 0)) Findings)
    {
    }
    ~SharedFindings() { ::munmap(findings_, sizeof(Findings)); }
    SharedFindings(const SharedFindings&) = delete;
    SharedFindings& operator=(const SharedFindings&) = delete;
    Findings* operator->() const { return findings_; }

private:
    Findings* findings_;
};

ObjectNamespace objectNamespace(unsigned number) { return {"VAULT", "box-" + std::to_string(number)}; }

/// A policy with so many objects that grants role 1 one bit on each of them.
std::string policyDocument(unsigned objects, const std::string& operation)
{
    std::string names;
    std::string definitions;
    for (unsigned number = 0; number < objects; ++number) {
        const std::string separator = number == 0 ? "" : ",\n";
        const std::string name = "\"" + objectNamespace(number).str() + "\"";
        names += separator + "{\"namespace\": " + name + "}";
        definitions += separator + "{\"object\": " + name +
                       ", \"role\": 1, \"propagation\": \"OBJECT\", \"operations\": [\"" + operation + "\"]}";
    }
    return R"({"operations": {"|FIRST|": 1, "|SECOND|": 2}, "roles": [{"id": 1, "name": "reader"}],
               "objects": [)" +
           names + "], \"accessDefinitions\": [" + definitions + "]}";
}

class ReadersTest : public testing::Test {
protected:
    static constexpr unsigned FIRST_OBJECTS = 50;
    static constexpr unsigned SECOND_OBJECTS = 400;

    ReadersTest()
    {
        writeFile(dir_.path("first.json"), policyDocument(FIRST_OBJECTS, "|FIRST|"));
        writeFile(dir_.path("second.json"), policyDocument(SECOND_OBJECTS, "|SECOND|"));
    }

    Process startCompile(const std::string& policy) const
    {
        return Process::start(
            {KEEPSAFE_SANDBOX_PROGRAM, "compile", dir_.path(policy), "--root", dir_.path(), "--id", "vault"},
            dir_.path("output"), dir_.path("errors"));
    }

    int compile(const std::string& policy) const { return startCompile(policy).wait().exitStatus; }

    /// One look at everything, under one lock: whose answers are these?
    static std::atomic<unsigned>& look(const AccessCache& cache, Findings& findings)
    {
        try {
            const AccessCache::Reader reader = cache.lock();
            unsigned first = 0;
            unsigned second = 0;
            for (unsigned number = 0; number < SECOND_OBJECTS; ++number) {
                const ObjectNamespace name = objectNamespace(number);
                first += reader.getOperationBit(name, 1, Operation{1}) ? 1 : 0;
                second += reader.getOperationBit(name, 1, Operation{2}) ? 1 : 0;
            }
            if (first == FIRST_OBJECTS && second == 0) {
                return findings.first;
            }
            return first == 0 && second == SECOND_OBJECTS ? findings.second : findings.mixed;
        } catch (const EC_exception& failure) {
            return failure.status() == 12 ? findings.refused : findings.mixed;
        }
    }

    void startReaders()
    {
        for (unsigned number = 0; number < READERS; ++number) {
            readers_.push_back(Process::fork([this] {
                const AccessCache cache(
                    Manifest("vault", dir_.path("wmc/webserver/temp/access-caches/vault")));
                while (!findings_->stop) {
                    ++look(cache, *findings_.operator->());
                }
                return 0;
            }));
        }
    }

    void stopReaders()
    {
        findings_->stop = true;
        for (Process& reader : readers_) {
            EXPECT_EQ(reader.wait().exitStatus, 0);
        }
    }

    TempDir dir_;
    CapturedLog log_;
    SharedFindings findings_;
    std::vector<Process> readers_;
};

TEST_F(ReadersTest, SeeOneWholePolicyOrTheOtherWhileThePoliciesAreCompiled)
{
    ASSERT_EQ(compile("first.json"), 0);
    startReaders();
    for (int round = 0; round < 5; ++round) {
        ASSERT_EQ(compile("second.json"), 0);
        ASSERT_EQ(compile("first.json"), 0);
    }
    stopReaders();

    EXPECT_GT(findings_->first, 0U);
    EXPECT_GT(findings_->second, 0U);
    EXPECT_EQ(findings_->refused, 0U) << "a writer that lives is waited for";
    EXPECT_EQ(findings_->mixed, 0U);
}

TEST_F(ReadersTest, SeeOneWholePolicyOrARefusalWhenTheWriterIsKilled)
{
    ASSERT_EQ(compile("first.json"), 0);
    startReaders();
    std::mt19937 random(1);
    std::uniform_int_distribution<int> microseconds(0, 40000);
    for (int round = 0; round < 40; ++round) {
        const Process writer = startCompile(round % 2 == 0 ? "second.json" : "first.json");
        std::this_thread::sleep_for(std::chrono::microseconds(microseconds(random)));
        writer.kill();
    }
    ASSERT_EQ(compile("second.json"), 0) << "repairs what the killed ones left";
    const unsigned before = findings_->second;
    while (findings_->second < before + READERS) {
        std::this_thread::yield();
    }
    stopReaders();

    EXPECT_EQ(findings_->mixed, 0U);
}

} // namespace
} // namespace keepsafe_test
