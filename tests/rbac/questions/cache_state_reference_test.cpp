// What a cache says of itself, against what was put into its files: random headers, those of this project's
// writers and of others, random times, files that were written in place and files that were put there.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <keepsafe/rbac/questions/cache_state.h>

#include "RandomPolicy.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using std::chrono::nanoseconds;
using std::chrono::system_clock;
using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::cacheState;
using Tessara::Keepsafe::Rbac::CacheState;

/// A record file: its name, and the size of a record.
struct RecordFile {
    const char* name;
    std::size_t recordSize;
};
constexpr std::array<RecordFile, 3> RECORD_FILES{{{"objects", 16}, {"nodes", 24}, {"segments", 32}}};

/// What was written last, and so what has to be answered.
struct Written {
    bool isOurs = false;
    bool isInterrupted = false;
    std::uint64_t generation = 0;
    std::uint64_t accessDefinitions = 0;
    std::array<std::uint64_t, RECORD_FILES.size()> records{}; ///< in use, without the reserved ones
    nanoseconds time{0};
};

class StateReference {
public:
    void askAbout(std::uint32_t seed, long questions)
    {
        RandomPolicy random(seed);
        std::filesystem::remove_all(disk_.directory());
        CacheWriter(random.model, random.options).write(disk_.directory());
        const auto client = disk_.open();
        publications_.clear();
        stamps_.clear();
        for (; questions > 0; --questions) {
            if (publications_.empty() || random.below(4) == 0) {
                publish(random);
            }
            ask(random, *client);
            ASSERT_FALSE(testing::Test::HasFailure()) << "cache " << seed << ", question " << asked;
        }
    }

    long asked = 0;
    long ours = 0;
    long future = 0;

private:
    void publish(RandomPolicy& random)
    {
        written_ = {};
        written_.isOurs = random.below(2) == 0;
        written_.isInterrupted = random.below(3) == 0;
        std::string header(written_.isOurs ? 64 : 32 + random.below(70), '\0');
        header[20] = static_cast<char>(written_.isInterrupted ? 1 + random.below(255) : 0);
        if (written_.isOurs) {
            fillHeader(random, header);
        } else {
            resizeFiles(random, header);
        }
        // Now and then a file from elsewhere, in the place of the one before, which is kept aside.
        const std::string path = disk_.directory() + "/metadata";
        if (random.below(3) == 0) {
            std::filesystem::rename(path, path + '.' + std::to_string(publication_));
        }
        writeFile(path, header);
        setTime(random, path);
        ++publication_;
    }

    void fillHeader(RandomPolicy& random, std::string& header)
    {
        const auto put = [&header](std::size_t place, auto number) {
            std::memcpy(header.data() + place, &number, sizeof number);
        };
        const auto anyNumber = [&random] {
            return std::uint64_t{random.below(UINT32_MAX)} << random.below(33);
        };
        std::memcpy(header.data(), "KSACACHE", 8);
        put(8, std::uint32_t{1});
        written_.generation = anyNumber();
        put(12, written_.generation);
        constexpr std::size_t COUNTS = 32;
        for (std::size_t file = 0; file < RECORD_FILES.size(); ++file) {
            const auto count = random.below(4) == 0 ? random.below(3) : random.below(UINT32_MAX);
            put(COUNTS + 4 * file, count);
            written_.records[file] = count == 0 ? 0 : count - 1;
        }
        written_.accessDefinitions = anyNumber();
        put(48, written_.accessDefinitions);
    }

    /// Another writer's header, which does not tell how many records there are.
    void resizeFiles(RandomPolicy& random, std::string& header)
    {
        static const std::vector<std::string> BEGINNINGS{"", "KSACACHF", std::string("KSACACHE\2\0\0\0", 12),
                                                         std::string("KSACACHE\0\0\0\0", 12)};
        const std::string& beginning = random.anyOf(BEGINNINGS);
        header.replace(0, beginning.size(), beginning);
        for (std::size_t file = 0; file < RECORD_FILES.size(); ++file) {
            const std::uint32_t size = random.below(4) == 0 ? random.below(64) : random.below(1U << 30U);
            std::filesystem::resize_file(disk_.directory() + '/' + RECORD_FILES[file].name, size);
            const std::uint64_t records = size / RECORD_FILES[file].recordSize;
            written_.records[file] = records == 0 ? 0 : records - 1;
        }
    }

    void setTime(RandomPolicy& random, const std::string& path)
    {
        const timespec time{static_cast<time_t>(random.below(UINT32_MAX)),
                            static_cast<long>(random.below(1000000000))};
        written_.time = std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
        const std::array<timespec, 2> times{time, time};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
    }

    void ask(RandomPolicy& random, AccessControlClient& client)
    {
        const auto earliest = system_clock::now();
        const CacheState state =
            random.below(2) == 0 ? cacheState(disk_.directory()) : cacheState(client).value();
        const auto latest = system_clock::now();
        EXPECT_EQ(state.isInterrupted, written_.isInterrupted);
        EXPECT_EQ(state.generation.has_value(), written_.isOurs);
        EXPECT_EQ(state.accessDefinitions.has_value(), written_.isOurs);
        EXPECT_EQ(state.generation.value_or(0), written_.generation);
        EXPECT_EQ(state.accessDefinitions.value_or(0), written_.accessDefinitions);
        EXPECT_EQ(state.objects, written_.records[0]);
        EXPECT_EQ(state.nodes, written_.records[1]);
        EXPECT_EQ(state.segments, written_.records[2]);
        const system_clock::time_point time(written_.time);
        EXPECT_EQ(state.lastChange, time);
        EXPECT_GE(state.age, std::max(nanoseconds(0), nanoseconds(earliest - time)));
        EXPECT_LE(state.age, std::max(nanoseconds(0), nanoseconds(latest - time)));
        expectStamp(state.stamp);
        ++asked;
        ours += written_.isOurs ? 1 : 0;
        future += time > latest ? 1 : 0;
    }

    /// As long as nothing is published the stamp is the same, and afterwards it is another one than each
    /// before.
    void expectStamp(const std::string& stamp)
    {
        EXPECT_TRUE(std::all_of(stamp.begin(), stamp.end(), [](char c) { return c > ' ' && c < '\x7F'; }));
        EXPECT_EQ(publications_.emplace(stamp, publication_).first->second, publication_);
        EXPECT_EQ(stamps_.emplace(publication_, stamp).first->second, stamp);
    }

    const CapturedLog log_{1000};
    PolicyOnDisk disk_;
    Written written_;
    long publication_ = 0;
    std::map<std::string, long> publications_;
    std::map<long, std::string> stamps_;
};

TEST(StateReferenceTest, TellsWhatWasWritten)
{
    StateReference reference;
    constexpr long QUESTIONS_OF_A_CACHE = 500;
    const long questions = questionCount(20000);
    for (std::uint32_t seed = 1; reference.asked < questions; ++seed) {
        reference.askAbout(seed, std::min(QUESTIONS_OF_A_CACHE, questions - reference.asked));
        ASSERT_FALSE(HasFailure());
    }
    RecordProperty("questions", std::to_string(reference.asked));
    EXPECT_GT(reference.ours, reference.asked / 4);
    EXPECT_GT(reference.asked - reference.ours, reference.asked / 4);
    EXPECT_GT(reference.future, reference.asked / 10);
}

} // namespace
} // namespace keepsafe_test
