#ifndef KEEPSAFE_TESTS_SUPPORT_RANDOMMODEL_H
#define KEEPSAFE_TESTS_SUPPORT_RANDOMMODEL_H

#include <cstdint>
#include <iterator>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "support/AccessModel.h"
#include "support/CacheWriter.h"

namespace keepsafe_test {

/// The content of a random cache, how its files are laid out, and random questions about it.
class RandomModel {
public:
    using ObjectNamespace = Tessara::Keepsafe::Rbac::ObjectNamespace;

    static const std::vector<std::string>& components()
    {
        static const std::vector<std::string> all{"",    "a",        "ab",       "abc", "abcd",  "abcde",
                                                  "a|b", "|",        " ",        "a b", "\xE9",  "\xFF|",
                                                  "%",   "KEEPSAFE", "policies", "ab|", "abcd|x"};
        return all;
    }
    static const std::vector<std::int32_t>& someRoles()
    {
        static const std::vector<std::int32_t> all{LEAST, -70000, -5, -1, 1, 2, 3, 17, 99, 70000, MOST};
        return all;
    }
    static const std::vector<std::int32_t>& someBits()
    {
        static const std::vector<std::int32_t> all{0, 1, 5, 31, 32, 37, 63, 64, 1000, MOST, -1, LEAST};
        return all;
    }

    explicit RandomModel(std::uint32_t seed) : random_(seed)
    {
        const std::uint32_t count = below(60);
        for (std::uint32_t i = 0; i < count; ++i) {
            model.objects[anyName()] = anyObject();
        }
        options.shape = static_cast<TreeShape>(below(4));
        options.offsetsInsideRecords = below(2) == 0;
        options.seed = seed;
        options.unusedRecords = below(2) == 0;
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

    /// Half of the time a name of the cache or one below it, else any.
    ObjectNamespace askedName()
    {
        if (model.objects.empty() || below(2) == 0) {
            return anyName();
        }
        auto chosen = model.objects.begin();
        std::advance(chosen, below(static_cast<std::uint32_t>(model.objects.size())));
        return below(2) == 0 ? chosen->first : chosen->first | anyOf(components());
    }

    std::set<int> roles()
    {
        std::set<int> chosen;
        for (std::uint32_t count = below(5); count > 0; --count) {
            chosen.insert(anyOf(someRoles()));
        }
        // Now and then more roles than a checker holds in itself.
        for (std::uint32_t count = below(5) == 0 ? below(50) : 0; count > 0; --count) {
            chosen.insert(manyRoles(random_));
        }
        return chosen;
    }

    ModelObject anyObject() { return {below(4) != 0, grants(), grants()}; }

    AccessModel model;
    CacheWriter::Options options;

private:
    static constexpr auto LEAST = std::numeric_limits<std::int32_t>::min();
    static constexpr auto MOST = std::numeric_limits<std::int32_t>::max();

    Grants grants()
    {
        Grants chosen;
        for (std::uint32_t count = below(4); count > 0; --count) {
            for (std::uint32_t bits = 1 + below(4); bits > 0; --bits) {
                chosen[anyOf(someRoles())].insert(anyOf(someBits()));
            }
        }
        // Now and then a role tree that is large.
        for (std::uint32_t count = below(10) == 0 ? below(100) : 0; count > 0; --count) {
            chosen[manyRoles(random_)].insert(anyOf(someBits()));
        }
        return chosen;
    }

    std::mt19937 random_;
    std::uniform_int_distribution<std::int32_t> manyRoles{-100, 100};
};

} // namespace keepsafe_test

#endif
