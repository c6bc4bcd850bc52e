#ifndef KEEPSAFE_BENCH_ACCESS_WORKLOAD_H
#define KEEPSAFE_BENCH_ACCESS_WORKLOAD_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include "generate/GeneratedCache.h"
#include "generate/random_numbers.h"

namespace keepsafe_bench {

/// A caller and the operation it wants, with the checker that a process would keep for them.
struct Caller {
    std::set<int> roles;
    Tessara::Keepsafe::Rbac::Operation operation;
    std::unique_ptr<const Tessara::Keepsafe::Rbac::DiskAccessChecker> checker;
};

struct Question {
    const Caller* caller;
    Tessara::Keepsafe::Rbac::ObjectNamespace object; ///< its text form is computed
};

/// A generated cache in a private folder, and questions about it.
class Workload {
public:
    static constexpr std::uint64_t SEED = 1;

    explicit Workload(std::uint64_t leaves);
    ~Workload();
    Workload(const Workload&) = delete;
    Workload& operator=(const Workload&) = delete;

    [[nodiscard]] const std::string& directory() const noexcept { return directory_; }
    [[nodiscard]] const boost::shared_ptr<const Tessara::Keepsafe::Rbac::AccessCache>& cache() const noexcept
    {
        return cache_;
    }

    /// Questions in random order: nine in ten about leaves of the cache, and half of all allowed as far as
    /// callers can be found. Each caller has `roles` roles.
    std::vector<Question> questions(std::size_t count, std::size_t roles);
    /// The same kind of questions, each by a caller of its own, so that no question finds its checker and its
    /// roles in the processor's caches.
    std::vector<Question> questionsOfDistinctCallers(std::size_t count, std::size_t roles);
    /// The same questions, each about an object `depth` components below the one asked for.
    static std::vector<Question> deepened(const std::vector<Question>& questions, int depth);
    /// The same callers asking about leaves that do not exist.
    std::vector<Question> misses(const std::vector<Question>& questions) const;

private:
    [[nodiscard]] std::unique_ptr<Caller> drawCaller(keepsafe_sandbox::RandomNumbers& random,
                                                     std::size_t roles) const;
    [[nodiscard]] Tessara::Keepsafe::Rbac::ObjectNamespace drawObject(keepsafe_sandbox::RandomNumbers& random,
                                                                      bool exists) const;

    keepsafe_sandbox::GeneratedCache generated_;
    std::uint64_t leaves_;
    std::filesystem::path root_;
    std::string directory_;
    boost::shared_ptr<const Tessara::Keepsafe::Rbac::AccessCache> cache_;
    std::vector<std::unique_ptr<Caller>> callers_;
};

} // namespace keepsafe_bench

#endif
