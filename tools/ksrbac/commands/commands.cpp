#include "commands/commands.h"

#include "doctor/add_doctor.h"

namespace ksrbac {

namespace {

/// A row of the table below that stands for the heading of those after it.
CommandRow heading(const char* purpose) { return {nullptr, nullptr, nullptr, nullptr, purpose}; }

CommandRow hidden(CommandRow row)
{
    row.isHidden = true;
    return row;
}

CommandTable underHeadings(const CommandTable& rows)
{
    CommandTable table;
    const char* purpose = nullptr;
    for (CommandRow row : rows) {
        if (row.name == nullptr) {
            purpose = row.purpose;
            continue;
        }
        row.purpose = purpose;
        table.push_back(row);
    }
    return table;
}

} // namespace

const CommandTable& commandTable()
{
    static const CommandTable table = underHeadings({
        heading("Ask for decisions"),
        {"check", addCheck},
        {"who-can", addWhoCan},
        {"what-can", addWhatCan},
        {"list", addList},
        {"simulate", addSimulate},
        heading("Examine what is on this host"),
        {"cache", nullptr, "Examine an access cache.", "ksrbac cache verify main"},
        {"cache info", addCacheInfo},
        {"cache dump", addCacheDump},
        {"cache diff", addCacheDiff},
        {"cache verify", addCacheVerify},
        {"report", addReport},
        hidden({"operations", addOperations}),
        {"doctor", addDoctor},
        {"token", nullptr, "Examine a session token.", "ksrbac token verify token"},
        {"token verify", addTokenVerify},
        {"token show", addTokenShow},
        {"token roles", addTokenRoles},
        heading("Manage the access-control service"),
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
        {"changes", addChanges},
        {"operation", nullptr, "List operations, of the service or of this host.", "ksrbac operation list"},
        {"operation list", addOperationList},
        hidden({"complete", addComplete}),
    });
    return table;
}

} // namespace ksrbac
