#include "commands/commands.h"

namespace ksrbac {

const CommandTable& commandTable()
{
    static const CommandTable table{
        {"check", addCheck},
        {"who-can", addWhoCan},
        {"what-can", addWhatCan},
        {"list", addList},
        {"simulate", addSimulate},
        {"cache", nullptr, "Examine an access cache.", "ksrbac cache verify main"},
        {"cache info", addCacheInfo},
        {"cache dump", addCacheDump},
        {"cache diff", addCacheDiff},
        {"cache verify", addCacheVerify},
        {"report", addReport},
        {"operations", addOperations},
        {"token", nullptr, "Examine a session token.", "ksrbac token verify token"},
        {"token verify", addTokenVerify},
        {"token show", addTokenShow},
        {"token roles", addTokenRoles},
        {"role", nullptr, "Manage the roles of the service.", "ksrbac role list"},
        {"role list", addRoleList},
        {"role get", addRoleGet},
        {"role create", addRoleCreate},
        {"role update", addRoleUpdate},
        {"role delete", addRoleDelete},
        {"object", nullptr, "Manage the objects of the service.", "ksrbac object get '|KEEPSAFE|ASSETS|'"},
        {"object get", addObjectGet},
        {"object set-inherit", addObjectSetInherit},
        {"object register", addObjectRegister},
        {"object unregister", addObjectUnregister},
        {"access", nullptr, "Manage the access definitions of objects.",
         "ksrbac access list '|KEEPSAFE|ASSETS|'"},
        {"access list", addAccessList},
        {"access add", addAccessAdd},
        {"access delete", addAccessDelete},
        {"operation", nullptr, "Ask the service for operations.", "ksrbac operation list"},
        {"operation list", addOperationList},
    };
    return table;
}

} // namespace ksrbac
