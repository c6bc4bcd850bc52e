// A dump against the maps and sets that the cache was made from: compiled as a policy document it becomes an
// equal cache that decides the same, and as a table it has a line for each grant.

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <set>
#include <sstream>
#include <string>

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

#include <keepsafe/rbac/questions/policy_changes.h>

#include "StringSink.h"
#include "cachewriter/publish_cache.h"
#include "policy/policy_image.h"
#include "policy/policy_reader.h"
#include "rbac/questions/RandomPolicy.h"
#include "service/support/InterruptedFileSystem.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::CachePolicySource;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::PolicyChange;

using Client = boost::shared_ptr<AccessControlClient>;

/// Everything that a policy document can have: no operation of it has a negative number.
void removeNegativeBits(AccessModel& model)
{
    for (auto& [name, object] : model.objects) {
        for (Grants* grants : {&object.own, &object.children}) {
            for (auto role = grants->begin(); role != grants->end();) {
                role->second.erase(role->second.begin(), role->second.lower_bound(0));
                role = role->second.empty() ? grants->erase(role) : std::next(role);
            }
        }
    }
}

/// The model that a table tells of.
class ToldModel {
public:
    explicit ToldModel(char separator) : separator_(separator) {}

    void add(const std::string& line)
    {
        std::array<std::string, 5> fields;
        std::istringstream stream(line);
        for (std::string& field : fields) {
            std::getline(stream, field, separator_);
        }
        EXPECT_TRUE(stream.eof()) << line;
        const auto& [name, inherit, role, propagation, operation] = fields;
        const bool isNew = told.objects.count(boost::lexical_cast<ObjectNamespace>(name)) == 0;
        ModelObject& object = told.objects[boost::lexical_cast<ObjectNamespace>(name)];
        object.inherit = inherit == "on";
        if (role.empty()) {
            EXPECT_TRUE(isNew) << line;
            EXPECT_EQ(propagation + operation, "") << line;
            return;
        }
        const std::size_t prefix = std::string("|OPERATIONS|").size();
        const auto bit = static_cast<std::int32_t>(std::stol(operation.substr(prefix)));
        const auto id = static_cast<std::int32_t>(std::stol(role));
        if (propagation != "CHILDREN") {
            EXPECT_TRUE(object.own[id].insert(bit).second) << line;
        }
        if (propagation != "OBJECT") {
            EXPECT_TRUE(object.children[id].insert(bit).second) << line;
        }
    }

    AccessModel told;

private:
    const char separator_;
};

bool isSame(const AccessModel& left, const AccessModel& right)
{
    const auto same = [](const auto& l, const auto& r) {
        return l.first == r.first && l.second.inherit == r.second.inherit && l.second.own == r.second.own &&
               l.second.children == r.second.children;
    };
    return left.objects.size() == right.objects.size() &&
           std::equal(left.objects.begin(), left.objects.end(), right.objects.begin(), same);
}

class DumpReference {
public:
    void askAbout(std::uint32_t seed)
    {
        RandomPolicy random(seed);
        removeNegativeBits(random.model);
        const Client original = disk_.publish(random.model, random.options);
        const Client compiled = compile(dump("json"));
        expectEqual(*original, *compiled);
        expectDecisions(random, *compiled);
        expectTable(random.model, "csv", ',');
        expectTable(random.model, "tsv", '\t');
    }

    long asked = 0;
    long allowed = 0;

private:
    [[nodiscard]] std::string dump(const std::string& format) const
    {
        const ProgramRun run = runProgram({"--root", disk_.root.path(), "--log-level", "17", "cache", "dump",
                                           "--format", format, disk_.directory()});
        EXPECT_EQ(run.messages, "");
        EXPECT_EQ(run.status, ksrbac::ExitStatus::Good);
        return run.results;
    }

    Client compile(const std::string& document)
    {
        UnsyncedFileSystem fileSystem;
        const keepsafe_service::CacheLocation location(disk_.root.path(), "compiled");
        const auto policy = keepsafe_sandbox::readPolicy(document, ObjectNamespace());
        keepsafe_service::publishCache(fileSystem, location, ObjectNamespace(),
                                       keepsafe_sandbox::imageOf(policy), policy.operations,
                                       keepsafe_service::Renumber::Refuse);
        return disk_.open("wmc/webserver/temp/access-caches/compiled");
    }

    static void expectEqual(AccessControlClient& original, AccessControlClient& compiled)
    {
        CachePolicySource before(original);
        CachePolicySource after(compiled);
        EXPECT_TRUE(comparePolicies(before, after, {}, [](const PolicyChange& change) {
            ADD_FAILURE() << change.object;
            return false;
        }));
    }

    void expectDecisions(RandomPolicy& random, AccessControlClient& compiled)
    {
        for (int i = 0; i < QUESTIONS; ++i) {
            const std::set<int> roles = random.roles();
            const std::int32_t bit = random.anyOf(RandomPolicy::someBits());
            const ObjectNamespace object = random.askedName();
            boost::shared_ptr<const AccessChecker> checker;
            ASSERT_EQ(compiled.createAccessChecker(roles, PolicyOnDisk::operationOf(bit), 0, checker), 0);
            const bool expected = roles.count(0) != 0 || random.model.isAllowed(roles, bit, object);
            EXPECT_EQ(checker->checkAccess(object), expected) << object << ' ' << bit;
            allowed += expected ? 1 : 0;
            ++asked;
        }
    }

    void expectTable(const AccessModel& model, const std::string& format, char separator)
    {
        std::istringstream lines(dump(format));
        std::string line;
        std::getline(lines, line);
        std::string headings = "object,inherit,role,propagation,operation";
        std::replace(headings.begin(), headings.end(), ',', separator);
        EXPECT_EQ(line, headings);
        ToldModel table(separator);
        while (std::getline(lines, line)) {
            table.add(line);
            ++asked;
        }
        EXPECT_TRUE(isSame(table.told, model)) << format;
    }

    static constexpr int QUESTIONS = 1000;
    const CapturedLog log_{1000};
    PolicyOnDisk disk_;
};

TEST(DumpReferenceTest, IsTheCacheThatItCameFrom)
{
    DumpReference reference;
    const long questions = questionCount(20000);
    for (std::uint32_t seed = 1; reference.asked < questions; ++seed) {
        reference.askAbout(seed);
        ASSERT_FALSE(testing::Test::HasFailure()) << "cache " << seed;
    }
    testing::Test::RecordProperty("questions", std::to_string(reference.asked));
    EXPECT_GT(reference.allowed, reference.asked / 20);
}

} // namespace
} // namespace keepsafe_test
