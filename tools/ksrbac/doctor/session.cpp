#include <set>
#include <string>

#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/platform/dal/Dal.h>
#include <keepsafe/platform/status/status_codes.h>

#include "doctor/Examination.h"
#include "doctor/HeardLog.h"
#include "doctor/database_settings.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
namespace Status = Tessara::Keepsafe::Status;

namespace {

constexpr char WHAT[] = "token session";

std::string rolesText(const std::set<int>& roleIds)
{
    if (roleIds.empty()) {
        return "no roles: everything is denied to it";
    }
    std::string text = roleIds.size() == 1 ? "the role" : "the roles";
    const char* separator = " ";
    for (const int id : roleIds) {
        text += separator + std::to_string(id);
        separator = ", ";
    }
    return text;
}

void lookUp(Examination& examination)
{
    const HeardLog log;
    Tessara::Dal::DbConnectionManager manager(databaseSettings(examination));
    std::set<int> roleIds;
    const int status = Rbac::JWTHandler().getRoleIds(&manager, *examination.scope.token, roleIds);
    if (status == Status::SUCCESS) {
        examination.ok(WHAT, "the database has it, with " + rolesText(roleIds));
    } else if (status == Status::NO_AUTHORIZATION_TOKEN) {
        examination.fail(WHAT, "the database does not have it: everything is denied to it",
                         "log in again for another token; see docs/tokens.md");
    } else {
        examination.fail(WHAT, log.reason("status " + std::to_string(status) + ": " + getECmsg(status)),
                         "see what the product's login has stored for the session");
    }
}

} // namespace

void checkTokenSession(Examination& examination)
{
    if (!examination.scope.token) {
        return;
    }
    if (!examination.isTokenValid) {
        examination.skip(WHAT, "the token is not valid");
    } else if (!examination.areTablesUsable) {
        examination.skip(WHAT, "the database cannot be asked");
    } else {
        lookUp(examination);
    }
}

} // namespace ksrbac
