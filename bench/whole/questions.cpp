// Why, who, what, several operations, a cache's state, its contents and differences: what each question
// costs.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/questions/cache_state.h>
#include <keepsafe/rbac/questions/counts.h>
#include <keepsafe/rbac/questions/explain.h>
#include <keepsafe/rbac/questions/matrix.h>
#include <keepsafe/rbac/questions/policy_changes.h>
#include <keepsafe/rbac/questions/policy_contents.h>
#include <keepsafe/rbac/questions/roles_and_operations.h>

#include "generate/GeneratedCache.h"
#include "questions/PublishedCache.h"
#include "workloads.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;
using namespace Tessara::Keepsafe::Rbac;

namespace {

constexpr std::size_t MOST_QUESTIONS = 20000;
constexpr std::size_t ROW = 1000;
constexpr std::size_t STATES = 1000;

/// A question with what asks it.
struct Prepared {
    const PeerQuestion* question;
    const Explainer* explainer;
    const std::set<int>* roles;
    const ObjectNamespace* operation;
};

struct Caller {
    std::set<int> roles;
    ObjectNamespace operation;
    std::unique_ptr<const Explainer> explainer;
};

class Asking {
public:
    Asking(DiskAccessControlClient& client, const Questions& questions) : client_(client)
    {
        const std::size_t count = std::min(questions.size(), MOST_QUESTIONS);
        for (std::size_t i = 0; i < count; ++i) {
            const PeerQuestion& question = questions.all()[i];
            const Caller& caller = callerOf(*question.caller);
            prepared_.push_back({&question, caller.explainer.get(), &caller.roles, &caller.operation});
        }
    }

    [[nodiscard]] std::size_t size() const noexcept { return prepared_.size(); }

    void check() const
    {
        each([](const Prepared& asked) {
            (void)asked.question->caller->checker->checkAccess(asked.question->object);
        });
    }
    void verdict() const
    {
        each([](const Prepared& asked) { (void)asked.explainer->verdict(asked.question->object); });
    }
    void explain() const
    {
        each([](const Prepared& asked) { (void)asked.explainer->explain(asked.question->object); });
    }
    void who() const
    {
        each([this](const Prepared& asked) {
            (void)whoMay(client_, *asked.operation, asked.question->object).roles.size();
        });
    }
    void what() const
    {
        each([this](const Prepared& asked) {
            (void)whatMay(client_, *asked.roles, asked.question->object).operations.size();
        });
    }
    void requireSame() const
    {
        each([](const Prepared& asked) {
            require(asked.explainer->verdict(asked.question->object).isAllowed ==
                        asked.question->caller->checker->checkAccess(asked.question->object),
                    "a verdict is that of a check");
        });
    }

private:
    const Caller& callerOf(const PeerCaller& peer)
    {
        std::unique_ptr<Caller>& caller = callers_[&peer];
        if (!caller) {
            caller = std::make_unique<Caller>();
            caller->roles.insert(peer.roles.begin(), peer.roles.end());
            caller->operation = GeneratedCache::operationNamespace(
                static_cast<unsigned>(peer.operation.offset - GeneratedCache::FIRST_BIT));
            caller->explainer = std::make_unique<const Explainer>(client_, caller->roles, caller->operation);
        }
        return *caller;
    }
    template <typename Ask>
    void each(const Ask& ask) const
    {
        for (const Prepared& asked : prepared_) {
            ask(asked);
        }
    }

    DiskAccessControlClient& client_;
    std::map<const PeerCaller*, std::unique_ptr<Caller>> callers_;
    std::vector<Prepared> prepared_;
};

void measureObjects(const Asking& asking, const std::string& at, const Settings& settings, Report& report)
{
    asking.requireSame();
    Turns turns(settings.rounds);
    const auto check = turns.add(asking.size(), [&] { asking.check(); });
    const auto verdict = turns.add(asking.size(), [&] { asking.verdict(); });
    const auto explain = turns.add(asking.size(), [&] { asking.explain(); });
    const auto who = turns.add(asking.size(), [&] { asking.who(); });
    const auto what = turns.add(asking.size(), [&] { asking.what(); });
    turns.run();
    report.line("questions/verdict" + at, turns.figures(verdict), turns.figures(check));
    report.goal("questions/verdict / check" + at, turns.figures(verdict).median / turns.figures(check).median,
                Report::Bound::AtMost, 1.5, "");
    report.line("questions/explain" + at, turns.figures(explain), turns.figures(check));
    report.line("questions/who may" + at, turns.figures(who), turns.figures(check));
    report.line("questions/what may" + at, turns.figures(what), turns.figures(check));
}

/// Eight operations of one caller on rows of objects; the figure is for one answer.
void measureMatrix(DiskAccessControlClient& client, const Questions& questions, const std::string& at,
                   const Settings& settings, Report& report)
{
    constexpr unsigned OPERATIONS = 8;
    std::vector<ObjectNamespace> operations;
    for (unsigned i = 0; i < OPERATIONS; ++i) {
        operations.push_back(GeneratedCache::operationNamespace(i));
    }
    std::vector<ObjectNamespace> row;
    for (std::size_t i = 0; i < std::min(questions.size(), ROW); ++i) {
        row.push_back(questions.all()[i].object);
    }
    const std::vector<std::int32_t>& roles = questions.all().front().caller->roles;
    CheckerList checkers;
    require(
        createAccessCheckers(client, std::set<int>(roles.begin(), roles.end()), operations, 0, checkers) == 0,
        "the checkers are made");
    Turns turns(settings.rounds);
    const auto matrix =
        turns.add(row.size() * OPERATIONS, [&] { (void)checkMatrix(checkers, row).answers().size(); });
    turns.run();
    report.line("questions/matrix, 8 operations" + at, turns.figures(matrix));
}

void readAll(DiskAccessControlClient& client)
{
    CachePolicySource source(client);
    GrantedObject object;
    while (source.next(object)) {
    }
}

void compareWithItself(DiskAccessControlClient& client)
{
    CachePolicySource before(client);
    CachePolicySource after(client);
    require(comparePolicies(before, after, {}, [](const PolicyChange& /*change*/) { return false; }),
            "a cache is as it is");
}

void measureWhole(DiskAccessControlClient& client, const std::string& at, const Settings& settings,
                  Report& report)
{
    Turns turns(settings.rounds);
    const auto state = turns.add(STATES, times(STATES, [&] { (void)cacheState(client)->stamp.size(); }));
    const auto counts = turns.add(STATES, times(STATES, [] { (void)metricsText(checkCounts()).size(); }));
    const auto contents = turns.add(1, [&] { readAll(client); });
    const auto differences = turns.add(1, [&] { compareWithItself(client); });
    turns.run();
    report.line("questions/state" + at, turns.figures(state));
    report.line("questions/counts as text" + at, turns.figures(counts));
    report.line("questions/contents" + at, turns.figures(contents));
    report.line("questions/differences" + at, turns.figures(differences));
}

} // namespace

void measureQuestions(const Settings& settings, Report& report)
{
    for (const std::uint64_t leaves : settings.objects) {
        const PublishedCache published(GeneratedCache(leaves, SEED).build());
        Tessara::Keepsafe::Platform::setInstallationRoot(published.root());
        OperationCache operations;
        DiskAccessControlClient client(ObjectNamespace(), published.cache(), operations);
        const Questions questions(published.cache(), {settings.questions, settings.roles, Callers::Shared},
                                  drawLeaf(leaves));
        const std::string at = " at " + std::to_string(leaves);
        measureObjects(Asking(client, questions), at, settings, report);
        measureMatrix(client, questions, at, settings, report);
        measureWhole(client, at, settings, report);
    }
}

} // namespace keepsafe_bench
