// Every question about two access caches and their difference. The input holds the files: eight lengths of
// two bytes, then "metadata", "objects", "nodes" and "segments" of the one cache and of the other, of these
// lengths. Each question has an answer or ends with status 12, and none allows what a checker of the same
// cache does not allow.

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/log_sink.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/questions/bulk_check.h>
#include <keepsafe/rbac/questions/cache_state.h>
#include <keepsafe/rbac/questions/explain.h>
#include <keepsafe/rbac/questions/matrix.h>
#include <keepsafe/rbac/questions/policy_changes.h>
#include <keepsafe/rbac/questions/policy_contents.h>
#include <keepsafe/rbac/questions/reachable_objects.h>
#include <keepsafe/rbac/questions/roles_and_operations.h>

#include "PrivateFolder.h"
#include "require.h"

using namespace Tessara::Keepsafe::Rbac;

namespace {

const std::set<int> ROLES{-4, 1, 2, 17};
constexpr Operation FIVE{5};
constexpr Operation THIRTY_THREE{33};

/// Names and changes that a checker is asked about, too. A damaged cache may have very many.
constexpr std::size_t MOST_CHECKED = 32;
constexpr std::size_t MOST_TAKEN = 2000;

const ObjectNamespace& nameOfFive()
{
    static const ObjectNamespace name("OPERATIONS", "FIVE");
    return name;
}

const std::vector<ObjectNamespace>& objects()
{
    static const std::vector<ObjectNamespace> all{ObjectNamespace(),
                                                  ObjectNamespace("KEEPSAFE"),
                                                  ObjectNamespace("KEEPSAFE", "none"),
                                                  ObjectNamespace("KEEPSAFE", "policy|1"),
                                                  ObjectNamespace("KEEPSAFE", "pool"),
                                                  ObjectNamespace("KEEPSAFE", "pool", "disk")};
    return all;
}

/// An installation root with an operation cache, and with logging off.
class Root {
public:
    Root()
    {
        Tessara::Keepsafe::Platform::setInstallationRoot(folder_.path());
        Tessara::Keepsafe::Platform::setLogThreshold(1000);
        std::cerr.setstate(std::ios_base::badbit);
        const std::filesystem::path file = OperationCache::fileName();
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << R"({"|OPERATIONS|FIVE|": 5, "|OPERATIONS|THIRTY-THREE|": 33})";
        for (const char* cache : CACHES) {
            std::filesystem::create_directory(directory(cache));
            std::ofstream(directory(cache) + "/manifest.json") << R"({"namespace": "|"})";
        }
        operations.load();
    }

    static constexpr std::array<const char*, 2> CACHES{"before", "after"};

    [[nodiscard]] std::string directory(const char* cache) const { return folder_.path() + '/' + cache; }

    void write(const std::uint8_t* data, std::size_t size) const
    {
        constexpr std::array<const char*, 4> names{"metadata", "objects", "nodes", "segments"};
        constexpr std::size_t lengths = 2 * names.size() * CACHES.size();
        std::size_t position = std::min(size, lengths);
        for (std::size_t i = 0; i < names.size() * CACHES.size(); ++i) {
            const std::size_t wanted = 2 * i + 1 < size ? data[2 * i] + 256U * data[2 * i + 1] : 0;
            const std::size_t length = std::min(wanted, size - position);
            std::ofstream(directory(CACHES[i / names.size()]) + '/' + names[i % names.size()],
                          std::ios::binary)
                .write(reinterpret_cast<const char*>(data) + position, static_cast<std::streamsize>(length));
            position += length;
        }
        makeLarge(directory(CACHES.back()) + '/' + names.back());
    }

    OperationCache operations;

private:
    /// Rows of large caches are asked in other ways than those of small ones. Nothing refers to the new
    /// records.
    static void makeLarge(const std::string& file)
    {
        constexpr std::uintmax_t BYTES = std::uintmax_t{2} << 20U;
        std::filesystem::resize_file(file, std::filesystem::file_size(file) + BYTES);
    }

    const PrivateFolder folder_;
};

template <typename Ask>
void answerOrStatus12(const Ask& ask)
{
    try {
        ask();
    } catch (const EC_exception& failure) {
        require(failure.status() == 12, "a damaged cache is status 12");
    }
}

class AskedCache {
public:
    AskedCache(const std::string& directory, OperationCache& operations)
        : cache_(boost::make_shared<const AccessCache>(Manifest("fuzz", directory))),
          client_(ObjectNamespace(), cache_, operations)
    {
    }

    void askEverything()
    {
        for (const ObjectNamespace& object : objects()) {
            answerOrStatus12([&] { askWhy(object); });
            answerOrStatus12([&] { askWho(object); });
            answerOrStatus12([&] { askWhat(object); });
            answerOrStatus12([&] { askWhere(object); });
        }
        answerOrStatus12([&] { askRow(RowState::PerPiece); });
        answerOrStatus12([&] { askRow(RowState::WholeRow); });
        answerOrStatus12([&] { askMatrix(); });
        answerOrStatus12([&] { askContents(); });
        answerOrStatus12([&] { askState(); });
    }

    /// False when there is no answer.
    [[nodiscard]] bool isAllowed(const std::set<int>& roles, const Operation& operation,
                                 const ObjectNamespace& object) const
    {
        try {
            return DiskAccessChecker(cache_, roles, operation, 0).checkAccess(object);
        } catch (const EC_exception& failure) {
            require(failure.status() == 12, "a damaged cache is status 12");
            return false;
        }
    }

    [[nodiscard]] DiskAccessControlClient& client() { return client_; }

private:
    void askWhy(const ObjectNamespace& object)
    {
        const Explainer explainer(client_, ROLES, nameOfFive());
        if (explainer.verdict(object).isAllowed) {
            require(isAllowed(ROLES, FIVE, object), "a verdict allows no more than a check");
        }
        const Explanation explanation = explainer.explain(object);
        if (explanation.verdict.isAllowed) {
            require(isAllowed(ROLES, FIVE, object), "an explanation allows no more than a check");
        }
        require(explanation.verdict.isAllowed == explanation.wouldAllow.empty(),
                "a grant turns a denial, and nothing else");
    }

    void askWho(const ObjectNamespace& object)
    {
        for (const AllowedRole& role : whoMay(client_, nameOfFive(), object).roles) {
            require(isAllowed({role.roleId}, FIVE, object), "a listed role is allowed");
            require(!role.grants.empty(), "a listed role has a grant");
        }
    }

    void askWhat(const ObjectNamespace& object)
    {
        for (const ObjectNamespace& operation : whatMay(client_, ROLES, object).operations) {
            require(isAllowed(ROLES, operation == nameOfFive() ? FIVE : THIRTY_THREE, object),
                    "a listed operation is allowed");
        }
    }

    /// Pages and counts are those of the whole list, and every name on it is allowed.
    void askWhere(const ObjectNamespace& under)
    {
        const ReachableObjects reachable(client_, ROLES, nameOfFive());
        std::vector<std::string> names;
        reachable.forEach(under, "", [&names](std::string_view name) {
            names.emplace_back(name);
            return names.size() < MOST_TAKEN;
        });
        for (std::size_t i = 0; i < std::min(names.size(), MOST_CHECKED); ++i) {
            const auto object = boost::lexical_cast<ObjectNamespace>(names[i]);
            require(object.str() == names[i], "a listed name is a text form");
            require(isAllowed(ROLES, FIVE, object), "a listed object is allowed");
        }
        if (names.size() < MOST_TAKEN) {
            for (const WalkLocking locking : {WalkLocking::InPieces, WalkLocking::OneState}) {
                require(reachable.count(under, "", locking) == names.size(), "the count is that of the list");
            }
        }
        askPages(reachable, under, names);
    }

    static void askPages(const ReachableObjects& reachable, const ObjectNamespace& under,
                         const std::vector<std::string>& names)
    {
        std::size_t met = 0;
        std::string after;
        do {
            const ReachablePage page = reachable.page(under, after, 7);
            for (const std::string& name : page.names) {
                require(met < names.size() && names[met] == name, "the pages are those of the list");
                ++met;
            }
            require(page.isLast() || page.cursor > after, "a cursor leads on");
            after = page.cursor;
        } while (!after.empty() && met + 7 < MOST_CHECKED);
    }

    void askRow(RowState state)
    {
        const DiskAccessChecker checker(cache_, ROLES, FIVE, 0);
        const std::vector<Answer> answers = checkRow(checker, objects(), state);
        for (std::size_t i = 0; i < answers.size(); ++i) {
            require(answers[i] != Answer::Allowed || isAllowed(ROLES, FIVE, objects()[i]),
                    "a row allows no more than a check");
        }
    }

    void askMatrix()
    {
        const CheckerList checkers{
            boost::make_shared<const DiskAccessChecker>(cache_, ROLES, FIVE, 0),
            boost::make_shared<const DiskAccessChecker>(cache_, ROLES, THIRTY_THREE, 0)};
        const AccessMatrix matrix = checkMatrix(checkers, objects());
        for (std::size_t i = 0; i < objects().size(); ++i) {
            require(!matrix.isAllowed(i, 0) || isAllowed(ROLES, FIVE, objects()[i]), "nor does a matrix");
            require(!matrix.isAllowed(i, 1) || isAllowed(ROLES, THIRTY_THREE, objects()[i]),
                    "nor does a matrix");
        }
    }

    /// In pieces and as one state they are the same.
    void askContents()
    {
        CachePolicySource inPieces(client_);
        CachePolicySource oneState(client_, WalkLocking::OneState);
        GrantedObject first;
        GrantedObject second;
        std::string last;
        for (std::size_t taken = 0; taken < MOST_TAKEN && inPieces.next(first); ++taken) {
            require(oneState.next(second) && first.name == second.name && first.inherits == second.inherits &&
                        first.onObject == second.onObject && first.onChildren == second.onChildren,
                    "the contents in pieces are those of one state");
            require(first.name > last, "names ascend");
            last = first.name;
        }
    }

    void askState()
    {
        const auto state = cacheState(client_);
        require(state && state->stamp == cacheState(client_)->stamp, "a stamp lasts");
    }

    const boost::shared_ptr<const AccessCache> cache_;
    DiskAccessControlClient client_;
};

/// What a change says of the object itself is what checkers of the two caches say.
void expectTrue(const PolicyChange& change, const AskedCache& before, const AskedCache& after)
{
    const bool isGain = change.kind == PolicyChange::Kind::NowAllowed;
    if ((!isGain && change.kind != PolicyChange::Kind::NowDenied) ||
        change.scope == PolicyChange::Scope::OnChildren) {
        return;
    }
    const auto object = boost::lexical_cast<ObjectNamespace>(change.object);
    require(before.isAllowed({change.roleId}, change.operation, object) == !isGain,
            "the decision was another one");
    require(after.isAllowed({change.roleId}, change.operation, object) == isGain, "the decision has changed");
}

void compare(AskedCache& before, AskedCache& after)
{
    CachePolicySource first(before.client());
    CachePolicySource second(after.client(), WalkLocking::OneState);
    std::size_t changes = 0;
    comparePolicies(first, second, {}, [&](const PolicyChange& change) {
        if (changes < MOST_CHECKED) {
            expectTrue(change, before, after);
        }
        return ++changes < MOST_TAKEN;
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Root root;
    root.write(data, size);
    try {
        AskedCache before(root.directory("before"), root.operations);
        AskedCache after(root.directory("after"), root.operations);
        before.askEverything();
        after.askEverything();
        answerOrStatus12([&] { compare(before, after); });
    } catch (const EC_exception& failure) {
        require(failure.status() == 12, "a damaged cache is status 12");
    } catch (const std::runtime_error& error) {
        require(std::string(error.what()).compare(0, 6, "error ") == 0, "a file error says so");
    }
    return 0;
}
