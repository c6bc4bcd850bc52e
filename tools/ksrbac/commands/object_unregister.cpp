#include <memory>
#include <optional>
#include <string>

#include <boost/make_shared.hpp>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/commands.h"
#include "registration/ExecOptions.h"
#include "registration/register_through.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Take a managed object back.

In two phases: the object becomes PENDING, in which state it grants nothing; the
program of --exec does what belongs to it; then the object is gone with its
access definitions if the program ended with status 0, and READY again if not.
--exec and signals are as for 'ksrbac object register'. Prints nothing itself.

Exit status: 0 unregistered, 2 usage error, 3 the library reported a status:
8023 restored because the program failed, 8024 and 8025 the second phase failed
and the object may be left PENDING, or what the service said to the first phase.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac object unregister '|KEEPSAFE|ASSETS|vms|vm-7|' --exec umount -- /srv/vm-7)";

struct Options {
    std::string object;
    ExecOptions exec;
};

ExitStatus run(const Options& options)
{
    const Rbac::ObjectNamespace object = parseNamespace("NS", options.object);
    if (object.is_root()) {
        throw InputError("NS: the root is not an object that was registered");
    }
    const std::optional<Program> program = options.exec.program();
    SignalWatch signals;
    const Work work(program, signals);
    registerThrough("object unregister " + object.str(),
                    boost::make_shared<UnregistrationCallback>(work, object),
                    [&](auto& service, const auto& callback, auto& cause) {
                        return service.unregisterObject(object, callback, cause);
                    });
    return ExitStatus::Good;
}

} // namespace

Action addObjectUnregister(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addObject(command, options->object);
    options->exec.addTo(command);
    return {[options](bool /*json*/, Console& /*console*/) { return run(*options); },
            [options] { return options->exec.tail(); }};
}

} // namespace ksrbac
