#ifndef KEEPSAFE_TESTS_RBAC_QUESTIONS_RANDOMPOLICY_H
#define KEEPSAFE_TESTS_RBAC_QUESTIONS_RANDOMPOLICY_H

#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>

#include <keepsafe/rbac/client/DiskAccessControlClient.h>

#include "support/CacheWriter.h"
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

/// A policy drawn at random, in any legal form: objects whose ancestors are missing, names with any bytes,
/// trees of any shape, negative roles, every kind of bit.
class RandomPolicy {
public:
    using ObjectNamespace = Tessara::Keepsafe::Rbac::ObjectNamespace;

    explicit RandomPolicy(std::uint32_t seed) : random_(seed)
    {
        for (std::uint32_t count = below(60); count > 0; --count) {
            model.objects[anyName()] = anyObject();
        }
        options.shape = static_cast<TreeShape>(below(4));
        options.offsetsInsideRecords = below(2) == 0;
        options.seed = seed;
    }

    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_()) % limit; }

    template <typename T>
    const T& anyOf(const std::vector<T>& values)
    {
        return values[below(static_cast<std::uint32_t>(values.size()))];
    }

    ObjectNamespace anyName()
    {
        ObjectNamespace name;
        for (std::uint32_t depth = below(6); depth > 0; --depth) {
            name = name | anyOf(components());
        }
        return name;
    }

    /// Half of the time a name of the policy or one below it, else any.
    ObjectNamespace askedName()
    {
        if (model.objects.empty() || below(2) == 0) {
            return anyName();
        }
        auto chosen = model.objects.begin();
        std::advance(chosen, below(static_cast<std::uint32_t>(model.objects.size())));
        return below(2) == 0 ? chosen->first : chosen->first | anyOf(components());
    }

    /// Now and then role 0, none at all, or more than a checker holds in itself.
    std::set<int> roles()
    {
        std::set<int> chosen;
        for (std::uint32_t count = below(5); count > 0; --count) {
            chosen.insert(anyOf(roleIds()));
        }
        for (std::uint32_t count = below(10) == 0 ? below(50) : 0; count > 0; --count) {
            chosen.insert(static_cast<int>(below(200)) - 100);
        }
        return chosen;
    }

    ModelObject anyObject() { return {below(4) != 0, grants(), grants()}; }

    static const std::vector<std::int32_t>& bits()
    {
        static const std::vector<std::int32_t> values{0, 1, 5, 31, 32, 37, 63, 64, 1000, MOST, -1, LEAST};
        return values;
    }
    static const std::vector<std::int32_t>& roleIds()
    {
        static const std::vector<std::int32_t> values{LEAST, -70000, -5, -1, 1, 2, 3, 17, 99, 70000, MOST, 0};
        return values;
    }

    AccessModel model;
    CacheWriter::Options options;

private:
    static constexpr auto LEAST = std::numeric_limits<std::int32_t>::min();
    static constexpr auto MOST = std::numeric_limits<std::int32_t>::max();

    static const std::vector<std::string>& components()
    {
        static const std::vector<std::string> values{"",    "a", "ab",       "abc",      "abcd", "abcde",
                                                     "a|b", "|", " ",        "+",        "\xE9", "~~",
                                                     "%",   "Z", "KEEPSAFE", "policies", "ab|",  "abcd|x"};
        return values;
    }

    Grants grants()
    {
        Grants chosen;
        for (std::uint32_t count = below(4); count > 0; --count) {
            for (std::uint32_t some = 1 + below(4); some > 0; --some) {
                chosen[anyOf(roleIds())].insert(anyOf(bits()));
            }
        }
        for (std::uint32_t count = below(20) == 0 ? below(60) : 0; count > 0; --count) {
            chosen[static_cast<int>(below(200)) - 100].insert(anyOf(bits()));
        }
        return chosen;
    }

    std::mt19937 random_;
};

/// A cache of a policy under a private root, with a client. The operation of each bit is `operationOf(bit)`.
class PolicyOnDisk {
public:
    using ObjectNamespace = Tessara::Keepsafe::Rbac::ObjectNamespace;

    PolicyOnDisk()
    {
        std::string document;
        for (const std::int32_t bit : RandomPolicy::bits()) {
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

} // namespace keepsafe_test

#endif
