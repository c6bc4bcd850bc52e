#include <keepsafe/rbac/questions/matrix.h>

#include <map>
#include <utility>

#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/questions/roles_and_operations.h>

#include "rows.h"

namespace Tessara::Keepsafe::Rbac {

int createAccessCheckers(AccessControlClient& client, const std::set<int>& roleIds,
                         const std::vector<ObjectNamespace>& operations, int reserved, CheckerList& checkers)
{
    CheckerList made;
    made.reserve(operations.size());
    for (const ObjectNamespace& operation : operations) {
        boost::shared_ptr<const AccessChecker> checker;
        const int status = client.createAccessChecker(roleIds, operation, reserved, checker);
        if (status != Status::SUCCESS) {
            return status;
        }
        if (!checker) {
            return Status::OUT_OF_MEMORY;
        }
        made.push_back(std::move(checker));
    }
    checkers = std::move(made);
    return Status::SUCCESS;
}

int createAccessCheckers(AccessControlClient& client, Tessara::Dal::DbConnectionManager* dbConnectionManager,
                         const std::string& sessionToken, const std::vector<ObjectNamespace>& operations,
                         int reserved, CheckerList& checkers)
{
    std::set<int> roleIds;
    const int status = findRoles(client, dbConnectionManager, sessionToken, roleIds);
    return status == Status::SUCCESS ? createAccessCheckers(client, roleIds, operations, reserved, checkers)
                                     : status;
}

AccessMatrix checkMatrix(const CheckerList& checkers, const std::vector<ObjectNamespace>& objects,
                         RowState state)
{
    AccessMatrix matrix(objects.size(), checkers.size());
    const Row row{RowNames(objects.data()), objects.size(), matrix.answers().data(), checkers.size()};
    std::map<const AccessCache*, std::vector<RowChecker>> byCache;
    for (std::size_t column = 0; column < checkers.size(); ++column) {
        const AccessChecker& checker = *checkers[column];
        if (const DiskAccessChecker* disk = asDiskChecker(checker)) {
            byCache[&disk->accessCache()].push_back({disk, column});
        } else {
            askAlone({&checker, column}, row, state);
        }
    }
    for (const auto& entry : byCache) {
        askTogether(entry.second, row, state);
    }
    return matrix;
}

} // namespace Tessara::Keepsafe::Rbac
