#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>

#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>

#include "cachewriter/publish_cache.h"
#include "files/PosixFileSystem.h"
#include "policy/policy_image.h"
#include "policy/policy_reader.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

/// The example policy decides as the table beside it says, when the library is asked.

namespace {

using keepsafe_sandbox::Policy;
using keepsafe_service::CacheLocation;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::DiskAccessControlClient;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationCache;

const std::string POLICIES = KEEPSAFE_EXAMPLE_POLICIES;

struct Decision {
    std::size_t lineNumber;
    std::set<int> roles;
    ObjectNamespace operation;
    ObjectNamespace object;
    std::string decision;
};

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

/// Throws for a line that is neither a comment nor four columns of the right kind.
std::vector<Decision> readDecisions(const std::string& path)
{
    std::vector<Decision> decisions;
    std::ifstream table(path);
    std::size_t lineNumber = 0;
    for (std::string line; std::getline(table, line);) {
        ++lineNumber;
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const std::vector<std::string> columns = split(line, '\t');
        Decision decision{lineNumber, {}, {}, {}, columns.at(3)};
        for (const std::string& role : split(columns.at(0), ',')) {
            decision.roles.insert(std::stoi(role));
        }
        decision.operation = boost::lexical_cast<ObjectNamespace>(columns.at(1));
        decision.object = boost::lexical_cast<ObjectNamespace>(columns.at(2));
        decisions.push_back(decision);
    }
    return decisions;
}

class CompanyPolicy : public testing::Test {
protected:
    CompanyPolicy() : policy_(keepsafe_sandbox::readPolicyFile(POLICIES + "/company.json", ObjectNamespace()))
    {
        keepsafe_service::PosixFileSystem fileSystem;
        const CacheLocation location(root_.path(), "company");
        keepsafe_service::publishCache(fileSystem, location, ObjectNamespace(), imageOf(policy_),
                                       policy_.operations, keepsafe_service::Renumber::Refuse);
        cache_ = boost::make_shared<const AccessCache>(Manifest("company", location.accessCache()));
    }

    std::string decide(const Decision& question)
    {
        DiskAccessControlClient client(ObjectNamespace(), cache_, operations_);
        boost::shared_ptr<const AccessChecker> checker;
        const int status = client.createAccessChecker(question.roles, question.operation, 0, checker);
        if (status != 0) {
            return "status " + std::to_string(status);
        }
        return checker->checkAccess(question.object) ? "allow" : "deny";
    }

    keepsafe_test::TempRoot root_;
    keepsafe_test::CapturedLog log_;
    Policy policy_;
    OperationCache operations_;
    boost::shared_ptr<const AccessCache> cache_;
};

TEST_F(CompanyPolicy, DecidesEveryLineOfItsTable)
{
    const std::vector<Decision> decisions = readDecisions(POLICIES + "/company-decisions.tsv");
    for (const Decision& decision : decisions) {
        EXPECT_EQ(decide(decision), decision.decision) << "company-decisions.tsv:" << decision.lineNumber;
    }
    EXPECT_GE(decisions.size(), 100U);
}

TEST_F(CompanyPolicy, IsOfTheSizeOfACompany)
{
    EXPECT_EQ(policy_.operations.size(), 20U);
    EXPECT_EQ(policy_.roles.size(), 8U);
    EXPECT_GE(policy_.objects.size(), 36U);
}

} // namespace
