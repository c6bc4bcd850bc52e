#include "commands/options.h"

#include "root/RootLayout.h"

namespace keepsafe_sandbox {

using keepsafe_service::CacheLocation;

void addRenumberFlag(CLI::App& command, bool& renumber)
{
    command.add_flag("--renumber", renumber,
                     "Let operations change their bits. Running processes keep the old bits until they are "
                     "restarted, and the other caches of the root must be published again");
}

void PublishOptions::addTo(CLI::App& command)
{
    command.add_option("--root", root_, "Installation root to publish under")->required()->type_name("DIR");
    command.add_option("--id", cacheId_, "Id of the access cache: the name of its directory")
        ->required()
        ->type_name("ID");
    addRenumberFlag(command, renumber_);
}

CacheLocation PublishOptions::location() const { return {root_, cacheId_}; }

CacheLocation PublishOptions::locationInExistingRoot() const
{
    static_cast<void>(existingRoot(root_));
    return location();
}

} // namespace keepsafe_sandbox
