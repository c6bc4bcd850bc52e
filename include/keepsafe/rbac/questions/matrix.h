#ifndef KEEPSAFE_RBAC_QUESTIONS_MATRIX_H
#define KEEPSAFE_RBAC_QUESTIONS_MATRIX_H

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/client/AccessChecker.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>
#include <keepsafe/rbac/questions/bulk_check.h>

/// \file
/// Several operations for one caller: checkers for all of them, whose roles are looked up once, and their
/// answers object by operation. Any thread.

namespace Tessara::Keepsafe::Rbac {

using CheckerList = std::vector<boost::shared_ptr<const AccessChecker>>;

/// One checker for each of the operations, in their order, by `AccessControlClient::createAccessChecker`. On
/// 0 `checkers` holds them all, and none is null; any other status leaves `checkers` as it was: 36 when
/// memory was short, or the client's status for the first operation that it refuses.
[[nodiscard]] KEEPSAFE_API int createAccessCheckers(AccessControlClient& client, const std::set<int>& roleIds,
                                                    const std::vector<ObjectNamespace>& operations,
                                                    int reserved, CheckerList& checkers);

/// The same for the owner of a session token, whose roles are looked up once: see `findRoles`, whose statuses
/// it returns as well.
[[nodiscard]] KEEPSAFE_API int createAccessCheckers(AccessControlClient& client,
                                                    Tessara::Dal::DbConnectionManager* dbConnectionManager,
                                                    const std::string& sessionToken,
                                                    const std::vector<ObjectNamespace>& operations,
                                                    int reserved, CheckerList& checkers);

/// Answers of every checker about every object.
class AccessMatrix {
public:
    AccessMatrix(std::size_t objects, std::size_t checkers)
        : checkers_(checkers), answers_(objects * checkers, Answer::Denied)
    {
    }

    /// By the places in the lists that were asked about.
    [[nodiscard]] bool isAllowed(std::size_t object, std::size_t checker) const
    {
        return answers_.at(object * checkers_ + checker) == Answer::Allowed;
    }
    /// All answers, those about the first object first.
    [[nodiscard]] const std::vector<Answer>& answers() const noexcept { return answers_; }
    [[nodiscard]] std::vector<Answer>& answers() noexcept { return answers_; }

private:
    std::size_t checkers_;
    std::vector<Answer> answers_;
};

/// Asks each checker about each object. Each name is walked once for all checkers of one cache. The answers
/// about an object from such checkers are of one state of the policy. Throws what `checkRow` throws.
[[nodiscard]] KEEPSAFE_API AccessMatrix checkMatrix(const CheckerList& checkers,
                                                    const std::vector<ObjectNamespace>& objects,
                                                    RowState state = RowState::PerPiece);

} // namespace Tessara::Keepsafe::Rbac

#endif
