// Kinds of lookups, each beside the same walk without bounds checks: the cost of the library's checks.

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "generate/GeneratedCache.h"
#include "peers/Library.h"
#include "peers/UncheckedWalk.h"
#include "peers/asking.h"
#include "questions/PublishedCache.h"
#include "workloads.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;
using keepsafe_sandbox::RandomNumbers;

namespace {

class UncheckedLookup : public Contender {
public:
    explicit UncheckedLookup(const std::string& directory) : walk_(directory) {}

    void answer(QuestionRange questions, char* answers) override
    {
        for (const PeerQuestion& question : questions) {
            *answers++ = walk_.decide(question) ? 1 : 0;
        }
    }

private:
    UncheckedWalk walk_;
};

Questions::DrawObject existing(std::uint64_t leaves)
{
    return [leaves](RandomNumbers& random) { return GeneratedCache::leafNamespace(random.next() % leaves); };
}

Questions::DrawObject absent(std::uint64_t leaves)
{
    return [leaves](RandomNumbers& random) {
        return GeneratedCache::leafNamespace(leaves + random.next() % leaves);
    };
}

Questions::DrawObject deepened(Questions::DrawObject draw, int depth)
{
    return [draw = std::move(draw), depth](RandomNumbers& random) {
        auto object = draw(random);
        for (int i = 0; i < depth; ++i) {
            object = object | "volume";
        }
        return object;
    };
}

} // namespace

void measureLookups(const Settings& settings, Report& report)
{
    constexpr unsigned MANY_ROLES = 64;
    constexpr int DEEP = 20;
    const std::uint64_t leaves = settings.baseObjects;
    const PublishedCache published(GeneratedCache(leaves, SEED).build());
    struct Kind {
        const char* name;
        Questions questions;
        std::unique_ptr<Contender> library;
        std::size_t libraryNumber = 0;
        std::size_t floorNumber = 0;
    };
    std::deque<Kind> kinds;
    const auto add = [&](const char* name, unsigned roles, Callers callers,
                         const Questions::DrawObject& draw) {
        kinds.push_back({name, Questions(published.cache(), {settings.questions, roles, callers}, draw),
                         libraryLookup(published.cache()).open()});
    };
    add("lookup/mixed", settings.roles, Callers::Shared, drawLeaf(leaves));
    add("lookup/all callers different", settings.roles, Callers::Distinct, drawLeaf(leaves));
    add("lookup/existing names", settings.roles, Callers::Shared, existing(leaves));
    add("lookup/absent leaves", settings.roles, Callers::Shared, absent(leaves));
    add("lookup/20 components below a leaf", settings.roles, Callers::Shared,
        deepened(drawLeaf(leaves), DEEP));
    add("lookup/64 roles", MANY_ROLES, Callers::Shared, drawLeaf(leaves));

    UncheckedLookup unchecked(published.location().accessCache());
    Turns turns(settings.rounds);
    for (Kind& kind : kinds) {
        requireSame(kind.questions, LOOKUP, answersOf(*kind.library, kind.questions), "the unchecked walk",
                    answersOf(unchecked, kind.questions));
        kind.libraryNumber = turns.add(timed(*kind.library, kind.questions));
        kind.floorNumber = turns.add(timed(unchecked, kind.questions));
    }
    turns.run();
    for (const Kind& kind : kinds) {
        report.line(kind.name, turns.figures(kind.libraryNumber), turns.figures(kind.floorNumber));
    }
}

} // namespace keepsafe_bench
