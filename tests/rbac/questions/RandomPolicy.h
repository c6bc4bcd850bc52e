#ifndef KEEPSAFE_TESTS_RBAC_QUESTIONS_RANDOMPOLICY_H
#define KEEPSAFE_TESTS_RBAC_QUESTIONS_RANDOMPOLICY_H

#include <cstdint>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <string>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>

#include "support/CacheWriter.h"
#include "support/DamagedFiles.h"
#include "support/RandomModel.h"
#include "support/TempDir.h"

namespace keepsafe_test {

inline constexpr std::int32_t BIT = 5;
inline const Tessara::Keepsafe::Rbac::ObjectNamespace ROOT;

/// Questions that a randomised test asks: KEEPSAFE_TEST_QUESTIONS, or the number for every day.
inline long questionCount(long everyDay)
{
    const char* wanted = std::getenv("KEEPSAFE_TEST_QUESTIONS");
    return wanted != nullptr ? std::atol(wanted) : everyDay;
}

/// A random cache with callers who now and then hold role 0.
class RandomPolicy : public RandomModel {
public:
    using RandomModel::RandomModel;

    std::set<int> roles()
    {
        std::set<int> chosen = RandomModel::roles();
        if (below(6) == 0) {
            chosen.insert(0);
        }
        return chosen;
    }
};

/// A cache of a policy under a private root, with a client. The operation of each bit is `operationOf(bit)`.
class PolicyOnDisk {
public:
    using ObjectNamespace = Tessara::Keepsafe::Rbac::ObjectNamespace;

    PolicyOnDisk()
    {
        std::string document;
        for (const std::int32_t bit : RandomPolicy::someBits()) {
            document +=
                (document.empty() ? "{\"" : ",\"") + operationOf(bit).str() + "\":" + std::to_string(bit);
        }
        writeFile(Tessara::Keepsafe::Rbac::OperationCache::fileName(), document + '}');
        operations.load();
    }

    [[nodiscard]] static ObjectNamespace operationOf(std::int32_t bit)
    {
        return ObjectNamespace("OPERATIONS", std::to_string(bit));
    }
    [[nodiscard]] static ObjectNamespace unknownOperation() { return ObjectNamespace("OPERATIONS", "NONE"); }

    [[nodiscard]] std::string directory(const std::string& id = "cache") const { return root.path(id); }

    /// Writes a cache and opens a client of it.
    boost::shared_ptr<Tessara::Keepsafe::Rbac::AccessControlClient>
    publish(const AccessModel& model, const CacheWriter::Options& options, const std::string& id = "cache")
    {
        CacheWriter(model, options).write(directory(id));
        return open(id);
    }

    boost::shared_ptr<Tessara::Keepsafe::Rbac::AccessControlClient> open(const std::string& id = "cache")
    {
        using namespace Tessara::Keepsafe::Rbac;
        return boost::make_shared<DiskAccessControlClient>(
            ObjectNamespace(), boost::make_shared<const AccessCache>(Manifest(id, directory(id))),
            operations);
    }

    TempRoot root;
    Tessara::Keepsafe::Rbac::OperationCache operations;
};

/// Calls `ask(AccessControlClient&)` for each of many random policies whose files are damaged, and expects an
/// answer, status 12, or a file that cannot be opened. Returns how often there was no answer.
template <typename Ask>
long askDamagedPolicies(PolicyOnDisk& disk, const Ask& ask)
{
    constexpr long ROUNDS_OF_A_POLICY = 500;
    long refused = 0;
    DamagedFiles files(disk.directory());
    for (long round = 0, most = DamagedFiles::roundsWanted(4000); round < most; ++round) {
        if (round % ROUNDS_OF_A_POLICY == 0) {
            RandomPolicy policy(static_cast<std::uint32_t>(round));
            CacheWriter(policy.model, policy.options).write(disk.directory());
            files.keep();
        }
        files.damage();
        try {
            ask(*disk.open());
        } catch (const EC_exception& failure) {
            EXPECT_EQ(failure.status(), 12);
            ++refused;
        } catch (const std::runtime_error&) {
            ++refused; // a file that cannot be opened
        }
        files.restore();
    }
    return refused;
}

} // namespace keepsafe_test

#endif
