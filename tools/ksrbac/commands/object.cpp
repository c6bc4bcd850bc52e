#include <string>

#include <keepsafe/rbac/api/ManagedObjectState.h>
#include <keepsafe/rbac/api/ManagedObjects.h>

#include "cli/arguments.h"
#include "commands/service_commands.h"
#include "output/Json.h"
#include "output/TextTable.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

std::string stateName(Rbac::ManagedObjectState state)
{
    return state == Rbac::READY ? Rbac::READY_STR : Rbac::PENDING_STR;
}

} // namespace

ExitStatus runObjectGet(const ObjectGetOptions& options, bool json, Console& console)
{
    const Rbac::ObjectNamespace name = parseNamespace("NS", options.object);
    const Rbac::ManagedObjectResource object =
        askService("object get " + name.str(), [&] { return Rbac::ManagedObjectAPI().get_object(name); });
    if (json) {
        console.print(JsonObject()
                          .add("object", object.object.str())
                          .add("inherit", object.inherit)
                          .add("state", stateName(object.state))
                          .text() +
                      '\n');
        return ExitStatus::Good;
    }
    TextTable table({TextTable::Align::Left, TextTable::Align::Left, TextTable::Align::Left});
    table.addRow({"OBJECT", "INHERIT", "STATE"});
    table.addRow({object.object.str(), object.inherit ? "on" : "off", stateName(object.state)});
    console.print(table.text());
    return ExitStatus::Good;
}

ExitStatus runObjectSetInherit(const ObjectSetInheritOptions& options)
{
    const Rbac::ObjectNamespace name = parseNamespace("NS", options.object);
    const bool inherit = parseSwitch("INHERIT", options.inherit);
    askService("object set-inherit " + name.str(),
               [&] { Rbac::ManagedObjectAPI().set_inherit(name, inherit); });
    return ExitStatus::Good;
}

} // namespace ksrbac
