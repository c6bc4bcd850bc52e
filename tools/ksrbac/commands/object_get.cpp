#include <list>
#include <memory>
#include <string>

#include <keepsafe/rbac/api/ManagedObjectState.h>
#include <keepsafe/rbac/api/ManagedObjects.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/commands.h"
#include "output/Listing.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Show a managed object.

Prints whether grants on the objects above it reach it, and its state: READY, or
PENDING while its registration is not completed. With --json: {"object":...,
"inherit":...,"state":...}.

Exit status: 0 shown, 2 usage error, 3 the service could not be reached or
refused: its message is printed, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac object get '|KEEPSAFE|ASSETS|')";

using Align = TextTable::Align;
using Object = Rbac::ManagedObjectResource;

std::string stateName(const Object& object)
{
    return object.state == Rbac::READY ? Rbac::READY_STR : Rbac::PENDING_STR;
}

ExitStatus run(const std::string& text, bool json, Console& console)
{
    const Rbac::ObjectNamespace name = parseNamespace("NS", text);
    const Listing<Object> listing{
        {{"OBJECT", Align::Left, [](const Object& object) { return object.object.str(); }},
         {"INHERIT", Align::Left,
          [](const Object& object) { return std::string(object.inherit ? "on" : "off"); }},
         {"STATE", Align::Left, stateName}},
        [](const Object& object) {
            return JsonObject()
                .add("object", object.object.str())
                .add("inherit", object.inherit)
                .add("state", stateName(object));
        }};
    listing.print(std::list<Object>{askService("object get " + name.str(),
                                               [&] { return Rbac::ManagedObjectAPI().get_object(name); })},
                  json, console);
    return ExitStatus::Good;
}

} // namespace

Action addObjectGet(CLI::App& command)
{
    const auto object = std::make_shared<std::string>();
    describe(command, DESCRIPTION, EXAMPLE);
    addObject(command, *object);
    return {[object](bool json, Console& console) { return run(*object, json, console); }};
}

} // namespace ksrbac
