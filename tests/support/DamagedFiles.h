#ifndef KEEPSAFE_TESTS_SUPPORT_DAMAGEDFILES_H
#define KEEPSAFE_TESTS_SUPPORT_DAMAGEDFILES_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/TempDir.h"

namespace keepsafe_test {

/// The files of a cache, one of which is damaged at random and restored again.
class DamagedFiles {
public:
    explicit DamagedFiles(std::string directory) : directory_(std::move(directory)) {}

    /// KEEPSAFE_TEST_MUTATIONS, or the number for every day.
    static long roundsWanted(long everyDay)
    {
        const char* wanted = std::getenv("KEEPSAFE_TEST_MUTATIONS");
        return wanted != nullptr ? std::atol(wanted) : everyDay;
    }

    /// What the files are restored to.
    void keep()
    {
        for (const std::string& name : NAMES) {
            original_[name] = readFile(directory_ + '/' + name);
        }
    }

    void damage()
    {
        damagedName_ = NAMES[random_() % NAMES.size()];
        std::string bytes = original_[damagedName_];
        for (auto hits = 1 + random_() % 4; hits > 0 && bytes.size() >= 4; --hits) {
            hit(bytes);
        }
        if (random_() % 8 == 0) {
            bytes.resize(random_() % (bytes.size() + 1));
        }
        writeFile(directory_ + '/' + damagedName_, bytes);
    }

    void restore() { writeFile(directory_ + '/' + damagedName_, original_[damagedName_]); }

private:
    inline static const std::vector<std::string> NAMES{"metadata", "objects", "nodes", "segments"};

    void hit(std::string& bytes)
    {
        const std::size_t place = 4 * (random_() % (bytes.size() / 4));
        std::uint32_t value = 0;
        switch (random_() % 3) {
        case 0:
            bytes[random_() % bytes.size()] = static_cast<char>(random_());
            return;
        case 1: { // a field of another record
            std::memcpy(&value, bytes.data() + 4 * (random_() % (bytes.size() / 4)), sizeof value);
            break;
        }
        default: {
            const std::vector<std::uint32_t> telling{
                0,  1,  15,  16,  24,          31,          32,          48,
                64, 96, 128, 256, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U, 0xFFFFFFFFU};
            value = telling[random_() % telling.size()];
        }
        }
        std::memcpy(bytes.data() + place, &value, sizeof value);
    }

    std::string directory_;
    std::map<std::string, std::string> original_;
    std::string damagedName_;
    std::mt19937 random_{20260101};
};

} // namespace keepsafe_test

#endif
