#ifndef KEEPSAFE_BENCH_QUESTIONS_QUESTIONS_H
#define KEEPSAFE_BENCH_QUESTIONS_QUESTIONS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include <boost/shared_ptr.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include "generate/random_numbers.h"

namespace keepsafe_bench {

constexpr std::uint64_t SEED = 1;

/// A caller with roles and one operation. Each contender has them in the form that suits it best: the library
/// its checker, the others the roles in ascending order.
struct PeerCaller {
    std::vector<std::int32_t> roles;
    Tessara::Keepsafe::Rbac::Operation operation;
    std::unique_ptr<const Tessara::Keepsafe::Rbac::DiskAccessChecker> checker;
};

struct PeerQuestion {
    const PeerCaller* caller;
    Tessara::Keepsafe::Rbac::ObjectNamespace object; ///< its text form is computed
};

/// Whether each question has its own caller in memory, or 512 callers ask all of them. The questions are the
/// same in both cases.
enum class Callers { Distinct, Shared };

/// Questions about one cache in random order, about half of them allowed.
class Questions {
public:
    using Cache = boost::shared_ptr<const Tessara::Keepsafe::Rbac::AccessCache>;
    using DrawObject =
        std::function<Tessara::Keepsafe::Rbac::ObjectNamespace(keepsafe_sandbox::RandomNumbers& random)>;

    struct Kind {
        std::size_t count;
        unsigned roles; ///< of each caller
        Callers callers;
    };

    Questions(const Cache& cache, const Kind& kind, const DrawObject& drawObject);

    [[nodiscard]] const std::vector<PeerQuestion>& all() const noexcept { return questions_; }
    [[nodiscard]] std::size_t size() const noexcept { return questions_.size(); }

private:
    const PeerCaller* choose(const Tessara::Keepsafe::Rbac::AccessCache::Reader& reader,
                             const Tessara::Keepsafe::Rbac::ObjectNamespace& object,
                             keepsafe_sandbox::RandomNumbers& random) const;
    void makeCallersDistinct(const Cache& cache);

    std::vector<std::unique_ptr<const PeerCaller>> callers_;
    std::vector<PeerQuestion> questions_;
};

/// Nine in ten of the generated cache's leaves, and one in ten that would be the next leaves.
Questions::DrawObject drawLeaf(std::uint64_t leaves);

} // namespace keepsafe_bench

#endif
