#include "access/Workload.h"

#include <cstdlib>
#include <stdexcept>
#include <utility>

#include <boost/make_shared.hpp>

#include "cachewriter/PosixFileSystem.h"
#include "cachewriter/publish_cache.h"
#include "generate/random_numbers.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;
using keepsafe_sandbox::RandomNumbers;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

std::filesystem::path privateFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "keepsafe-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a folder like " + pattern);
    }
    return pattern;
}

} // namespace

Workload::Workload(std::uint64_t leaves) : generated_(leaves, SEED), leaves_(leaves), root_(privateFolder())
{
    const keepsafe_sandbox::CacheLocation location(root_.string(), "bench");
    directory_ = location.accessCache();
    keepsafe_sandbox::PosixFileSystem fileSystem;
    keepsafe_sandbox::publishCache(fileSystem, location, GeneratedCache::rootNamespace(), generated_.build(),
                                   GeneratedCache::operations(), keepsafe_sandbox::Renumber::Refuse);
    cache_ = boost::make_shared<const AccessCache>(Manifest("bench", directory_));
}

Workload::~Workload()
{
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
}

std::unique_ptr<Caller> Workload::drawCaller(RandomNumbers& random, std::size_t roles) const
{
    auto caller = std::make_unique<Caller>();
    while (caller->roles.size() < roles) {
        caller->roles.insert(GeneratedCache::FIRST_ROLE +
                             static_cast<int>(random.below(GeneratedCache::ROLES)));
    }
    caller->operation = GeneratedCache::operationBit(random.below(GeneratedCache::OPERATIONS));
    caller->checker = std::make_unique<DiskAccessChecker>(cache_, caller->roles, caller->operation, 0);
    return caller;
}

ObjectNamespace Workload::drawObject(RandomNumbers& random, bool exists) const
{
    const std::uint64_t leaf = (exists ? 0 : leaves_) + random.next() % leaves_;
    ObjectNamespace object = GeneratedCache::leafNamespace(leaf);
    object.str();
    return object;
}

std::vector<Question> Workload::questions(std::size_t count, std::size_t roles)
{
    constexpr std::size_t CALLERS = 512;
    RandomNumbers random(SEED + roles);
    std::vector<const Caller*> callers;
    for (std::size_t i = 0; i < CALLERS; ++i) {
        callers_.push_back(drawCaller(random, roles));
        callers.push_back(callers_.back().get());
    }
    const auto reader = cache_->lock();
    std::vector<Question> result;
    result.reserve(count);
    while (result.size() < count) {
        const bool exists = result.size() % 10 != 0;
        const bool wanted = result.size() % 2 == 0;
        ObjectNamespace object = drawObject(random, exists);
        // Most callers are denied most things: those who are allowed are searched for.
        const Caller* chosen = callers[random.below(CALLERS)];
        for (std::size_t tries = 0; tries < CALLERS && chosen->checker->checkAccess(reader, object) != wanted;
             ++tries) {
            chosen = callers[random.below(CALLERS)];
        }
        result.push_back({chosen, std::move(object)});
    }
    return result;
}

std::vector<Question> Workload::questionsOfDistinctCallers(std::size_t count, std::size_t roles)
{
    constexpr std::size_t MOST_TRIES = 512;
    RandomNumbers random(SEED + 7 * roles);
    const auto reader = cache_->lock();
    std::vector<Question> result;
    result.reserve(count);
    while (result.size() < count) {
        const bool exists = result.size() % 10 != 0;
        const bool wanted = result.size() % 2 == 0;
        ObjectNamespace object = drawObject(random, exists);
        // Those that were drawn in vain are gone before the next is made, and what is kept is made last: so
        // callers lie one behind the other, as if nobody had searched.
        RandomNumbers drawn = random;
        for (std::size_t tries = 0; tries < MOST_TRIES; ++tries) {
            drawn = random;
            if (drawCaller(random, roles)->checker->checkAccess(reader, object) == wanted) {
                break;
            }
        }
        callers_.push_back(drawCaller(drawn, roles));
        result.push_back({callers_.back().get(), std::move(object)});
    }
    return result;
}

std::vector<Question> Workload::deepened(const std::vector<Question>& questions, int depth)
{
    std::vector<Question> result;
    for (const Question& question : questions) {
        ObjectNamespace object = question.object;
        for (int i = 0; i < depth; ++i) {
            object = object | "volume";
        }
        object.str();
        result.push_back({question.caller, std::move(object)});
    }
    return result;
}

std::vector<Question> Workload::misses(const std::vector<Question>& questions) const
{
    RandomNumbers random(SEED + 99);
    std::vector<Question> result;
    for (const Question& question : questions) {
        ObjectNamespace object = GeneratedCache::leafNamespace(leaves_ + random.next() % leaves_);
        object.str();
        result.push_back({question.caller, std::move(object)});
    }
    return result;
}

} // namespace keepsafe_bench
