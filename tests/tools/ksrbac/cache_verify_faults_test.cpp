#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "SampleCache.h"
#include "StringSink.h"
#include "support/CacheWriter.h"
#include "support/TempDir.h"

// Faults planted into a good cache, one at a time. Each must be found, with the file, the byte and the way
// there, and nothing else must be.

namespace keepsafe_test {

struct PlantedFault {
    const char* name;
    std::function<void(CacheWriter&)> plant;
    std::vector<std::string> found;

    friend std::ostream& operator<<(std::ostream& stream, const PlantedFault& fault)
    {
        return stream << fault.name;
    }
};

namespace {

CacheWriter::SegmentNode& segment(CacheWriter& cache, std::size_t byte)
{
    return cache.segments[byte / sizeof(CacheWriter::SegmentNode)];
}

CacheWriter::ManagedObject& object(CacheWriter& cache, std::size_t byte)
{
    return cache.objects[byte / sizeof(CacheWriter::ManagedObject)];
}

CacheWriter::BitsNode& node(CacheWriter& cache, std::size_t byte)
{
    return cache.nodes[byte / sizeof(CacheWriter::BitsNode)];
}

const std::vector<PlantedFault> PLANTED = {
    {"FlagSet",
     [](CacheWriter& c) { c.metadata.writeInProgress = 1; },
     {"metadata, byte 20: write in progress: the last write was interrupted"}},
    {"FlagOfAnyValue",
     [](CacheWriter& c) { c.metadata.writeInProgress = 0x80; },
     {"metadata, byte 20: write in progress: the last write was interrupted"}},
    {"RootOutside",
     [](CacheWriter& c) { c.metadata.segmentRoot = 224; },
     {"metadata, byte 28: root of the segments is 224, outside the 7 records of segments"}},
    {"RootReserved",
     [](CacheWriter& c) { c.metadata.segmentRoot = 31; },
     {"metadata, byte 28: root of the segments is 31, inside the reserved first record of segments"}},

    {"SegmentLeftOutside",
     [](CacheWriter& c) { segment(c, 64).left = 224; },
     {"segments, byte 72: left is 224, outside the 7 records of segments (at |B|)"}},
    {"SegmentRightFarOutside",
     [](CacheWriter& c) { segment(c, 64).right = 0xFFFFFFFF; },
     {"segments, byte 76: right is 4294967295, outside the 7 records of segments (at |B|)"}},
    {"SegmentRightReserved",
     [](CacheWriter& c) { segment(c, 128).right = 1; },
     {"segments, byte 140: right is 1, inside the reserved first record of segments (at |C|, 1 step down its "
      "tree)"}},
    {"SegmentNextLevelOutside",
     [](CacheWriter& c) { segment(c, 96).nextLevel = 500; },
     {"segments, byte 120: next level is 500, outside the 7 records of segments (at |A|, 1 step down its "
      "tree)"}},
    {"SegmentObjectOutside",
     [](CacheWriter& c) { segment(c, 160).object = 80; },
     {"segments, byte 180: object is 80, outside the 5 records of objects (at |A|x|)"}},
    {"SegmentObjectReserved",
     [](CacheWriter& c) { segment(c, 32).object = 15; },
     {"segments, byte 52: object is 15, inside the reserved first record of objects (at |)"}},
    {"SegmentKeyTooLargeOnTheLeft",
     [](CacheWriter& c) { segment(c, 96).key = segmentKey("D|"); },
     {"segments, byte 112: key 0x447C0000 \"D|\" is out of order: it must be less than 0x427C0000 \"B|\" "
      "(at |D|, 1 step down its tree)"}},
    {"SegmentKeyTooSmallOnTheRight",
     [](CacheWriter& c) { segment(c, 128).key = segmentKey("A|"); },
     {"segments, byte 144: key 0x417C0000 \"A|\" is out of order: it must be greater than 0x427C0000 \"B|\" "
      "(at |A|, 1 step down its tree)"}},
    {"SegmentKeyTwice",
     [](CacheWriter& c) { segment(c, 96).key = segmentKey("B|"); },
     {"segments, byte 112: key 0x427C0000 \"B|\" is out of order: it must be less than 0x427C0000 \"B|\" "
      "(at |B|, 1 step down its tree)"}},
    {"SegmentKeyBeyondAGrandparent",
     [](CacheWriter& c) {
         c.add(segmentNode(segmentKey("Z|"), 0, 0, 0, 0));
         segment(c, 96).right = 224;
     },
     {"segments, byte 240: key 0x5A7C0000 \"Z|\" is out of order: it must be greater than 0x417C0000 \"A|\" "
      "and "
      "less than 0x427C0000 \"B|\" (at |Z|, 2 steps down its tree)"}},
    {"SegmentIsItsOwnChild",
     [](CacheWriter& c) { segment(c, 128).left = 128; },
     {"segments, byte 136: left is 128, a record on the way to this one: a cycle (at |C|, 1 step down its "
      "tree)"}},
    {"SegmentLeadsBackToItsParent",
     [](CacheWriter& c) { segment(c, 96).left = 70; },
     {"segments, byte 104: left is 70, a record on the way to this one: a cycle (at |A|, 1 step down its "
      "tree)"}},
    {"SegmentLevelsInACycle",
     [](CacheWriter& c) { segment(c, 160).nextLevel = 32; },
     {"segments, byte 184: next level is 32, a record on the way to this one: a cycle (at |A|x|)"}},
    {"SegmentTreeSharedOutOfOrder",
     [](CacheWriter& c) { segment(c, 128).right = 96; },
     {"segments, byte 140: right is 96, a shared tree with keys from 0x417C0000 \"A|\" to 0x417C0000 \"A|\", "
      "which "
      "must be greater than 0x437C0000 \"C|\" (at |C|, 1 step down its tree)"}},

    {"ObjectOwnBitsOutside",
     [](CacheWriter& c) { object(c, 32).ownBits = 216; },
     {"objects, byte 40: own bits is 216, outside the 9 records of nodes (at own bits of |A|, 1 step down "
      "its tree)"}},
    {"ObjectChildBitsOutside",
     [](CacheWriter& c) { object(c, 64).childBits = 0x80000000; },
     {"objects, byte 76: child bits is 2147483648, outside the 9 records of nodes (at child bits of |A|x|)"}},
    {"ObjectChildBitsReserved",
     [](CacheWriter& c) { object(c, 16).childBits = 23; },
     {"objects, byte 28: child bits is 23, inside the reserved first record of nodes (at child bits of |)"}},

    {"RoleLeftOutside",
     [](CacheWriter& c) { node(c, 48).left = 240; },
     {"nodes, byte 56: left is 240, outside the 9 records of nodes (at role 3 in the child bits of |, 1 step "
      "down its "
      "tree)"}},
    {"RoleRightReserved",
     [](CacheWriter& c) { node(c, 72).right = 8; },
     {"nodes, byte 84: right is 8, inside the reserved first record of nodes (at role 9 in the child bits of "
      "|, 1 "
      "step down its tree)"}},
    {"RoleWordTreeOutside",
     [](CacheWriter& c) { node(c, 72).value = 216; },
     {"nodes, byte 92: word tree is 216, outside the 9 records of nodes (at role 9 in the child bits of |, 1 "
      "step "
      "down its tree)"}},
    {"RoleWordTreeReserved",
     [](CacheWriter& c) { node(c, 24).value = 1; },
     {"nodes, byte 44: word tree is 1, inside the reserved first record of nodes (at role 5 in the child "
      "bits of |)"}},
    {"RoleOutOfOrder",
     [](CacheWriter& c) { node(c, 48).key = 6; },
     {"nodes, byte 64: key 6 is out of order: it must be less than 5 (at role 6 in the child bits of |, 1 "
      "step down "
      "its tree)"}},
    {"RoleComparedAsUnsigned",
     [](CacheWriter& c) { node(c, 72).key = -1; },
     {"nodes, byte 88: key -1 is out of order: it must be greater than 5 (at role -1 in the child bits of |, "
      "1 step "
      "down its tree)"}},
    {"RolesInACycle",
     [](CacheWriter& c) { node(c, 168).right = 168; },
     {"nodes, byte 180: right is 168, a record on the way to this one: a cycle (at role -4 in the own bits "
      "of |C|, 1 "
      "step down its tree)"}},

    {"WordLeftOutside",
     [](CacheWriter& c) { node(c, 120).left = 1000; },
     {"nodes, byte 128: left is 1000, outside the 9 records of nodes (at words of role 5 in the child bits "
      "of |, 1 step down its tree)"}},
    {"WordRightReserved",
     [](CacheWriter& c) { node(c, 144).right = 2; },
     {"nodes, byte 156: right is 2, inside the reserved first record of nodes (at words of role 5 in the "
      "child bits "
      "of |, 1 step down its tree)"}},
    {"WordOutOfOrder",
     [](CacheWriter& c) { node(c, 144).key = 1; },
     {"nodes, byte 160: key 1 is out of order: it must be greater than 1 (at words of role 5 in the child "
      "bits of |, "
      "1 step down its tree)"}},
    {"WordsInACycle",
     [](CacheWriter& c) { node(c, 144).right = 96; },
     {"nodes, byte 156: right is 96, a record on the way to this one: a cycle (at words of role 5 in the "
      "child bits "
      "of |, 1 step down its tree)"}},

    {"TwoFaults",
     [](CacheWriter& c) {
         segment(c, 160).object = 80;
         node(c, 72).value = 216;
     },
     {"nodes, byte 92: word tree is 216, outside the 9 records of nodes (at role 9 in the child bits of |, 1 "
      "step "
      "down its tree)",
      "segments, byte 180: object is 80, outside the 5 records of objects (at |A|x|)"}},
};

class Planted : public testing::TestWithParam<PlantedFault> {
protected:
    ProgramRun verify(const CacheWriter& cache)
    {
        cache.write(root_.path("cache"));
        return runProgram({"--root", root_.path(), "cache", "verify", root_.path("cache")});
    }

    /// The lines before the summary.
    static std::vector<std::string> faultLines(const std::string& results)
    {
        std::vector<std::string> lines;
        std::istringstream stream(results);
        for (std::string line; std::getline(stream, line);) {
            if (line.rfind("unreachable records:", 0) == 0) {
                break;
            }
            lines.push_back(line);
        }
        return lines;
    }

    TempRoot root_;
};

TEST_P(Planted, IsFoundAndNothingElse)
{
    CacheWriter cache = sampleCache();
    GetParam().plant(cache);
    const ProgramRun run = verify(cache);
    EXPECT_EQ(faultLines(run.results), GetParam().found);
    EXPECT_EQ(run.status, ksrbac::ExitStatus::Negative);
    EXPECT_EQ(run.messages, "");
}

INSTANTIATE_TEST_SUITE_P(CacheVerify, Planted, testing::ValuesIn(PLANTED),
                         [](const auto& planted) { return std::string(planted.param.name); });

} // namespace
} // namespace keepsafe_test
