// Asking for all roles at once is held against asking for each of them in ascending order, on trees of every
// kind: small and large, ordered and not, with loops, shared branches and offsets that lead nowhere.

#include <cstdint>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include "support/CacheWriter.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

constexpr Operation VIEW{4};

/// "allowed", "denied", or the line in the log that tells of the damage. Asks a cache that is newly opened:
/// one that has told of a damage is silent about it for a second.
template <typename Ask>
std::string outcomeOf(const std::string& folder, const Ask& ask)
{
    const auto cache = boost::make_shared<const AccessCache>(Manifest("id", folder));
    const CapturedLog log;
    try {
        return ask(cache, cache->lock()) ? "allowed" : "denied";
    } catch (const EC_exception& failure) {
        EXPECT_EQ(failure.status(), 12);
        EXPECT_EQ(log.lines().size(), 1U);
        return log.lines().empty() ? "nothing logged" : log.lines()[0].text;
    }
}

class RoleSetsTest : public testing::TestWithParam<std::uint32_t> {
protected:
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_()) % limit; }

    /// Mostly an offset of a record, now and then 0, a place inside a record or outside the file.
    std::uint32_t anyOffset(std::uint32_t records)
    {
        const std::uint32_t inside = below(8) == 0 ? below(24) : 0;
        return below(3) == 0 ? 0 : 24 * below(records + (below(20) == 0 ? 1 : 0)) + inside;
    }

    /// Nodes that refer to each other at random, few enough keys for matches, and an object with such a tree.
    void writeTangle()
    {
        CacheWriter writer;
        const std::uint32_t records = 2 + below(70);
        for (std::uint32_t i = 1; i < records; ++i) {
            const auto key = below(3) == 0 ? 0 : static_cast<std::int32_t>(below(80)) - 20;
            const std::uint32_t value = below(2) == 0 ? anyOffset(records) : VIEW.bitMask();
            // Links that only lead onwards make trees and shared branches; the others make loops too.
            const bool onwards = below(4) != 0;
            const auto link = [&] {
                return onwards
                           ? (below(3) == 0 || i + 1 >= records ? 0 : 24 * (i + 1 + below(records - i - 1)))
                           : anyOffset(records);
            };
            writer.add(bitsNode(key, value, link(), link()));
        }
        const auto object = writer.add(managedObject(false, 24, 0));
        writer.metadata.segmentRoot = writer.add(segmentNode(0x7C000000, 0, 0, object, 0));
        writer.write(dir_.path("cache"));
    }

    std::set<int> anyRoles()
    {
        std::set<int> roles;
        for (std::uint32_t count = below(3) == 0 ? below(60) : below(12); count > 0; --count) {
            roles.insert(static_cast<int>(below(80)) - 20);
        }
        return roles;
    }

    std::mt19937 random_{GetParam()};
    TempDir dir_;
};

TEST_P(RoleSetsTest, AreAnsweredAsIfEachRoleWereAskedInAscendingOrder)
{
    std::set<std::string> kinds;
    for (int round = 0; round < 400; ++round) {
        writeTangle();
        for (int asked = 0; asked < 10; ++asked) {
            const std::set<int> roles = anyRoles();
            const std::string expected = outcomeOf(dir_.path("cache"), [&](const auto&, const auto& reader) {
                for (const int role : roles) {
                    if (reader.getOperationBit(ObjectNamespace(), role, VIEW)) {
                        return true;
                    }
                }
                return false;
            });
            const std::string together =
                outcomeOf(dir_.path("cache"), [&](const auto& cache, const auto& reader) {
                    return DiskAccessChecker(cache, roles, VIEW, 0).checkAccess(reader, ObjectNamespace());
                });
            ASSERT_EQ(together, expected);
            kinds.insert(expected.substr(0, 7));
        }
    }
    EXPECT_EQ(kinds.size(), 3U) << "there must be grants, denials and damage";
}

INSTANTIATE_TEST_SUITE_P(Seeds, RoleSetsTest, testing::Values(1U, 2U, 3U, 4U, 5U));

} // namespace
} // namespace keepsafe_test
