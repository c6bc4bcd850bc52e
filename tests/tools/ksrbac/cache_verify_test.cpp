#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "SampleCache.h"
#include "StringSink.h"
#include "support/AccessModel.h"
#include "support/CacheWriter.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

namespace Rbac = Tessara::Keepsafe::Rbac;

class CacheVerify : public testing::Test {
protected:
    std::string directory() const { return root_.path("cache"); }
    std::string file(const std::string& name) const { return directory() + '/' + name; }
    ProgramRun run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"--root", root_.path(), "cache"});
        return runProgram(arguments);
    }
    ProgramRun verify() { return run({"verify", directory()}); }
    ProgramRun verify(const CacheWriter& cache)
    {
        cache.write(directory());
        return verify();
    }
    void expectGood(const CacheWriter& cache)
    {
        const ProgramRun run = verify(cache);
        EXPECT_NE(run.results.find(directory() + ": no faults\n"), std::string::npos) << run.results;
        EXPECT_EQ(run.status, ksrbac::ExitStatus::Good);
        EXPECT_EQ(run.messages, "");
    }

    TempRoot root_;
};

AccessModel modelOf(int objects)
{
    AccessModel model;
    for (int i = 0; i < objects; ++i) {
        ModelObject object;
        object.inherit = i % 3 != 0;
        for (int role = 0; role < 1 + i % 7; ++role) {
            object.own[role * 5 - 10] = {i % 200, 31, 32, 1000};
            object.children[100 - role] = {i % 64};
        }
        model.objects[Rbac::ObjectNamespace("AREA" + std::to_string(i % 5), "object " + std::to_string(i))] =
            object;
    }
    model.objects[Rbac::ObjectNamespace()] = {};
    model.objects[Rbac::ObjectNamespace("AREA1", "", std::string("\x00|\xFF", 3))] = {};
    return model;
}

TEST_F(CacheVerify, FindsNothingInAGoodCache)
{
    EXPECT_EQ(verify(sampleCache()).results,
              "unreachable records: 0 of 4 objects, 1 of 6 segments, 1 of 8 nodes (11.1 %)\n" + directory() +
                  ": no faults\n");
}

TEST_F(CacheVerify, FindsNothingInAnEmptyCache)
{
    CacheWriter cache;
    expectGood(cache);
    cache.segments.clear();
    cache.objects.clear();
    cache.nodes.clear();
    expectGood(cache);
}

TEST_F(CacheVerify, FindsNothingInTreesOfAnyShape)
{
    const AccessModel model = modelOf(300);
    for (const TreeShape shape :
         {TreeShape::Balanced, TreeShape::LeftList, TreeShape::RightList, TreeShape::Random}) {
        for (const bool inside : {false, true}) {
            CacheWriter::Options options;
            options.shape = shape;
            options.offsetsInsideRecords = inside;
            options.seed = 7;
            expectGood(CacheWriter(model, options));
        }
    }
}

TEST_F(CacheVerify, TreesMayShareParts)
{
    CacheWriter cache = sampleCache();
    cache.segments[128 / 32].nextLevel = 160; // |C|x| is |A|x|
    cache.segments[160 / 32].left = 0;
    cache.objects[64 / 16].ownBits = 120; // a word tree read as a role tree: strange, but readable
    cache.nodes[120 / 24].value = 120;
    expectGood(cache);
}

TEST_F(CacheVerify, KeysMayBeTheExtremesOfTheirType)
{
    CacheWriter cache = sampleCache();
    cache.nodes[48 / 24].key = INT32_MIN;
    cache.nodes[72 / 24].key = INT32_MAX;
    expectGood(cache);
}

CacheWriter listOf(std::uint32_t size, bool leftwards)
{
    CacheWriter cache;
    cache.metadata.segmentRoot = 32;
    cache.add(segmentNode(segmentKey("|"), 0, 0, 16, 0));
    cache.add(managedObject(true, 24, 0));
    for (std::uint32_t i = 1; i <= size; ++i) {
        const std::uint32_t next = i == size ? 0 : (i + 1) * 24;
        const auto key = static_cast<std::int32_t>(i);
        cache.add(leftwards ? bitsNode(-key, 0, next, 0) : bitsNode(key, 0, 0, next));
    }
    return cache;
}

TEST_F(CacheVerify, TreesMayBeAsDeepAsTheyHaveRecords)
{
    constexpr std::uint32_t size = 1'000'000;
    expectGood(listOf(size, true));
    expectGood(listOf(size, false));
    const std::string info = run({"info", directory()}).results;
    EXPECT_NE(info.find("deepest search tree  1000000 nodes\n"), std::string::npos) << info;
}

TEST_F(CacheVerify, TheLastRecordOfALongListMayBeTheFault)
{
    constexpr std::uint32_t size = 200'000;
    CacheWriter cache = listOf(size, false);
    cache.nodes[size].key = 5;
    const ProgramRun run = verify(cache);
    EXPECT_EQ(run.results.substr(0, run.results.find('\n')),
              "nodes, byte 4800016: key 5 is out of order: it must be greater than 199999 (at role 5 in the "
              "own bits "
              "of |, 199999 steps down its tree)");
    EXPECT_EQ(run.status, ksrbac::ExitStatus::Negative);
}

TEST_F(CacheVerify, NamesMayBeAsLongAsThereAreRecords)
{
    CacheWriter cache;
    constexpr std::uint32_t size = 300'000;
    cache.metadata.segmentRoot = 32;
    for (std::uint32_t i = 1; i <= size; ++i) {
        cache.add(segmentNode(segmentKey("abcd|"), 0, 0, 0, i == size ? 0 : (i + 1) * 32));
    }
    expectGood(cache);
    const std::string info = run({"info", directory()}).results;
    EXPECT_NE(info.find("longest name         300000 segments\n"), std::string::npos) << info;
}

TEST_F(CacheVerify, PrintsTheFirstFaultsAndCountsAll)
{
    CacheWriter cache = listOf(1000, false);
    for (auto& record : cache.nodes) {
        record.value = 0xFFFFFF00;
    }
    cache.write(directory());
    const ProgramRun all = run({"verify", directory(), "--max-faults=5000"});
    EXPECT_EQ(std::count(all.results.begin(), all.results.end(), '\n'), 1002);
    const ProgramRun some = run({"verify", directory(), "--max-faults=3"});
    EXPECT_EQ(std::count(some.results.begin(), some.results.end(), '\n'), 6);
    EXPECT_NE(some.results.find("\n... and 997 more\n"), std::string::npos) << some.results;
    EXPECT_NE(some.results.find(": 1000 faults\n"), std::string::npos);
    EXPECT_EQ(some.status, ksrbac::ExitStatus::Negative);
}

TEST_F(CacheVerify, BytesAfterTheLastWholeRecordAreNotedOnly)
{
    sampleCache().write(directory());
    writeFile(file("nodes"), readFile(file("nodes")) + "1234567");
    EXPECT_EQ(verify().results,
              "note: nodes ends with 7 bytes of an incomplete record, which readers ignore\n"
              "unreachable records: 0 of 4 objects, 1 of 6 segments, 1 of 8 nodes (11.1 %)\n" +
                  directory() + ": no faults\n");
    EXPECT_EQ(verify().status, ksrbac::ExitStatus::Good);
}

TEST_F(CacheVerify, AReferenceIntoAnIncompleteRecordIsAFault)
{
    sampleCache().write(directory());
    std::filesystem::resize_file(file("nodes"), 168 + 23);
    const std::string results = verify().results;
    EXPECT_EQ(results.substr(0, results.find('\n')), "objects, byte 56: own bits is 168, outside the 7 "
                                                     "records of nodes (at own bits of |C|, 1 step down its "
                                                     "tree)");
}

TEST_F(CacheVerify, FindsAHeaderThatIsCutShort)
{
    sampleCache().write(directory());
    std::filesystem::resize_file(file("metadata"), 31);
    EXPECT_EQ(verify().results, "metadata, byte 31: the header of 32 bytes is cut short\n"
                                "the trees were not examined\n" +
                                    directory() + ": 1 fault\n");
    std::filesystem::resize_file(file("metadata"), 0);
    EXPECT_EQ(verify().results, "metadata, byte 0: the header of 32 bytes is cut short\n"
                                "the trees were not examined\n" +
                                    directory() + ": 1 fault\n");
}

TEST_F(CacheVerify, FindsFilesThatAreMissing)
{
    for (const char* name : {"metadata", "objects", "nodes", "segments"}) {
        sampleCache().write(directory());
        std::filesystem::remove(file(name));
        EXPECT_EQ(verify().results, std::string(name) +
                                        ", byte 0: the file is missing\n"
                                        "the trees were not examined\n" +
                                        directory() + ": 1 fault\n");
        EXPECT_EQ(verify().status, ksrbac::ExitStatus::Negative);
    }
}

TEST_F(CacheVerify, WithoutAManifestThereIsNoLockAndNothingIsExamined)
{
    sampleCache().write(directory());
    std::filesystem::remove(file("manifest.json"));
    EXPECT_EQ(verify().results,
              "manifest.json, byte 0: the file is missing; the file lock is taken on it, so the "
              "others were not examined\n"
              "the trees were not examined\n" +
                  directory() + ": 1 fault\n");
}

TEST_F(CacheVerify, FindsAMalformedManifestAndExaminesTheRest)
{
    const std::string rest = "unreachable records: 0 of 4 objects, 1 of 6 segments, 1 of 8 nodes (11.1 %)\n" +
                             directory() + ": 1 fault\n";
    const auto resultsWith = [this](const std::string& manifest) {
        sampleCache().write(directory());
        writeFile(file("manifest.json"), manifest);
        return verify().results;
    };
    EXPECT_EQ(resultsWith("{\"namespace\": nothing}"),
              "manifest.json, byte 21: not a JSON document: invalid token near 'nothing'\n" + rest);
    EXPECT_EQ(resultsWith(""),
              "manifest.json, byte 0: not a JSON document: '[' or '{' expected near end of file\n" + rest);
    const std::string noMember = "manifest.json, byte 0: no member \"namespace\" that is a string\n" + rest;
    EXPECT_EQ(resultsWith("{\"names\": \"|\"}"), noMember);
    EXPECT_EQ(resultsWith("{\"namespace\": 5}"), noMember);
    EXPECT_EQ(resultsWith("[\"namespace\"]"), noMember);
    EXPECT_EQ(
        resultsWith("{\"namespace\": \"|A\"}"),
        "manifest.json, byte 0: member \"namespace\" is not a namespace: \"|A\": it does not end with '|'\n" +
            rest);
}

TEST_F(CacheVerify, WhatCannotBeReadIsNoFaultButAnError)
{
    const auto expectError = [this](const std::string& message) {
        const ProgramRun run = verify();
        EXPECT_EQ(run.messages, message);
        EXPECT_EQ(run.results, "");
        EXPECT_EQ(run.status, ksrbac::ExitStatus::BadInput);
    };
    expectError("ksrbac: cannot read the cache " + directory() + ": No such file or directory\n");
    writeFile(directory(), "");
    expectError("ksrbac: cannot read the cache " + directory() + ": not a directory\n");
    std::filesystem::remove(directory());
    for (const char* name : {"manifest.json", "metadata", "objects", "nodes", "segments"}) {
        sampleCache().write(directory());
        std::filesystem::remove(file(name));
        std::filesystem::create_directory(file(name));
        expectError("ksrbac: cannot read " + file(name) + ": not a regular file\n");
        std::filesystem::remove(file(name));
    }
}

TEST_F(CacheVerify, AFifoInPlaceOfAFileDoesNotBlockIt)
{
    sampleCache().write(directory());
    std::filesystem::remove(file("nodes"));
    ASSERT_EQ(mkfifo(file("nodes").c_str(), 0600), 0);
    EXPECT_EQ(verify().messages, "ksrbac: cannot read " + file("nodes") + ": not a regular file\n");
}

TEST_F(CacheVerify, TellsTheSameAsJson)
{
    CacheWriter cache = sampleCache();
    cache.segments[160 / 32].object = 80;
    cache.write(directory());
    EXPECT_EQ(
        run({"verify", "--json", directory()}).results,
        "{\"cache\":\"" + directory() +
            "\",\"faultCount\":1,\"faults\":[{\"file\":\"segments\",\"byte\":180,\"what\":\"object is 80, "
            "outside the 5 records of objects\",\"reached\":\"|A|x|\"}],\"treesExamined\":true,"
            "\"unreachableRecords\":{\"objects\":1,\"segments\":1,\"nodes\":1},"
            "\"ignoredBytes\":{\"objects\":0,\"segments\":0,\"nodes\":0}}\n");
}

/// Without what the header and the time of the last write tell.
std::string withoutState(const std::string& info)
{
    static const std::regex lines("(generation|last change|stamp) [^\n]*\n");
    static const std::regex members(
        "\"generation\":null,\"accessDefinitions\":null,\"lastChange\":\"[^\"]*\","
        "\"ageSeconds\":[^,]*,\"stamp\":\"[^\"]*\",");
    return std::regex_replace(std::regex_replace(info, lines, ""), members, "");
}

TEST_F(CacheVerify, InfoShowsCountsSizesAndDepths)
{
    sampleCache().write(directory(), "|A|");
    const ProgramRun info = run({"info", directory()});
    EXPECT_EQ(withoutState(info.results), "cache                " + directory() +
                                              "\n"
                                              "namespace            |A|\n"
                                              "write in progress    no\n"
                                              "objects              4\n"
                                              "segments             5\n"
                                              "role tree nodes      4\n"
                                              "word tree nodes      3\n"
                                              "longest name         3 segments\n"
                                              "deepest search tree  2 nodes\n"
                                              "fragmentation        11.1 %\n"
                                              "faults               none\n"
                                              "\n"
                                              "FILE      BYTES  RECORDS  IN USE  UNREACHABLE\n"
                                              "metadata     32\n"
                                              "objects      80        5       4            0\n"
                                              "segments    224        7       5            1\n"
                                              "nodes       216        9       7            1\n");
    EXPECT_EQ(info.status, ksrbac::ExitStatus::Good);
}

TEST_F(CacheVerify, InfoOfADamagedCacheShowsWhatThereIs)
{
    CacheWriter cache = sampleCache();
    cache.metadata.writeInProgress = 1;
    cache.write(directory());
    writeFile(file("manifest.json"), "{}");
    std::filesystem::remove(file("objects"));
    const ProgramRun info = run({"info", directory()});
    EXPECT_EQ(info.results, "cache              " + directory() +
                                "\n"
                                "namespace          unknown: the manifest is damaged\n"
                                "write in progress  yes: the last write was interrupted\n"
                                "faults             3; 'ksrbac cache verify' lists them\n");
    EXPECT_EQ(info.status, ksrbac::ExitStatus::Good);
}

TEST_F(CacheVerify, NeedsMemoryOnlyForRecordsThatAreReached)
{
    sampleCache().write(directory());
    constexpr std::uintmax_t size = 200'000'000'000; // without content: almost no space on the disk
    for (const char* const name : {"objects", "nodes", "segments"}) {
        std::filesystem::resize_file(file(name), size / 96 * 96);
    }
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_DATA, &before), 0);
    const rlimit memory = {256'000'000, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_DATA, &memory), 0);
    const ProgramRun run = verify();
    EXPECT_EQ(::setrlimit(RLIMIT_DATA, &before), 0);
    EXPECT_EQ(run.status, ksrbac::ExitStatus::Good) << run.messages;
}

TEST_F(CacheVerify, InfoTellsTheSameAsJson)
{
    sampleCache().write(directory());
    EXPECT_EQ(
        withoutState(run({"info", "--json", directory()}).results),
        "{\"cache\":\"" + directory() +
            "\",\"namespace\":\"|\",\"writeInProgress\":false,\"objects\":4,\"segments\":5,\"roleTreeNodes\":"
            "4,"
            "\"wordTreeNodes\":3,\"longestNameSegments\":3,\"deepestSearchTree\":2,\"fragmentation\":0.1111,"
            "\"files\":{\"metadata\":{\"bytes\":32},"
            "\"objects\":{\"bytes\":80,\"records\":5,\"inUse\":4,\"unreachable\":0},"
            "\"segments\":{\"bytes\":224,\"records\":7,\"inUse\":5,\"unreachable\":1},"
            "\"nodes\":{\"bytes\":216,\"records\":9,\"inUse\":7,\"unreachable\":1}},\"faultCount\":0}\n");
}

} // namespace
} // namespace keepsafe_test
